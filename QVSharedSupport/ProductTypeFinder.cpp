#include <QVSharedSupport/ProductTypeFinder.h>

#include <QVLog/QVLog.h>

#include <boost/bimap/bimap.hpp>
#include <boost/bimap/unordered_set_of.hpp>

#include <fmt/format.h>

#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>

namespace QV::SharedSupport {
namespace {

using type_map = boost::bimaps::bimap<boost::bimaps::unordered_set_of<unsigned int>,
                                      boost::bimaps::unordered_set_of<std::string>>;

struct type_tables {
    std::shared_mutex table_lock;
    type_map dfu_types;
    type_map recovery_types;
};

// Made at the first use, for programs that load from static objects of their own.
type_tables& tables() {
    static type_tables shared;
    return shared;
}

CF::Dictionary dictionary_in(const CF::Dictionary& parent, const char* name) {
    CF::Dictionary found = parent.get<CF::Dictionary>(name);
    if (!found) throw std::runtime_error(fmt::format("version info has no dictionary '{}'", name));
    return found;
}

/// The number that `key` begins with; none if it does not begin with one.
std::optional<unsigned int> leading_number(const std::string& key) {
    try {
        return static_cast<unsigned int>(std::stoi(key));
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    } catch (const std::out_of_range&) {
        // In the words that programs know, whatever those of the standard library are.
        throw std::out_of_range("stoi argument out of range");
    }
}

type_map make_map(const CF::Dictionary& entries) {
    type_map map;
    for (const auto& [key, value] : entries) {
        const std::string number_text = CF::String(key).to_string();
        const std::string type = CF::String(value).to_string();
        if (number_text.empty() || type.empty()) continue;
        // Refused if either is there already: the first one wins.
        if (const auto number = leading_number(number_text)) map.insert({*number, type});
    }
    return map;
}

void log_count(std::size_t count, const char* mode) {
    Logging::get_logger("System").log(Logging::log_level::notice, "Loaded {} {} product types", count, mode);
}

std::string type_of(const type_map& map, unsigned int number) {
    const std::shared_lock lock(tables().table_lock);
    return map.left.at(number);
}

unsigned int number_of(const type_map& map, const std::string& type) {
    const std::shared_lock lock(tables().table_lock);
    const auto found = map.right.find(type);
    if (found == map.right.end()) throw std::out_of_range("Can't find device " + type);
    return found->second;
}

} // namespace

const std::string ProductTypeFinder::AppleVersionInfoFilenameDefault = "version.xml";

void ProductTypeFinder::load(const CF::Dictionary& root) {
    const CF::Dictionary types = dictionary_in(root, "MobileDeviceProductTypes");
    const CF::Dictionary dfu_entries = dictionary_in(types, "DFU");
    const CF::Dictionary recovery_entries = dictionary_in(types, "Recovery");

    // Built before the lock is taken and, for what they replace, destroyed after it is released.
    type_map dfu = make_map(dfu_entries);
    const std::size_t dfu_count = dfu.size();
    std::optional<type_map> recovery;
    std::exception_ptr failure;
    try {
        recovery = make_map(recovery_entries);
    } catch (...) {
        // The table of DFU is good and comes first: it is replaced all the same.
        failure = std::current_exception();
    }
    const std::size_t recovery_count = recovery ? recovery->size() : 0;
    {
        type_tables& shared = tables();
        const std::unique_lock lock(shared.table_lock);
        swap(shared.dfu_types, dfu);
        if (recovery) swap(shared.recovery_types, *recovery);
    }
    log_count(dfu_count, "DFU");
    if (failure) std::rethrow_exception(failure);
    log_count(recovery_count, "Recovery");
}

std::string ProductTypeFinder::getDFUDeviceType(unsigned int number) {
    return type_of(tables().dfu_types, number);
}

unsigned int ProductTypeFinder::getDFUProductType(const std::string& type) {
    return number_of(tables().dfu_types, type);
}

std::string ProductTypeFinder::getRecoveryDeviceType(unsigned int number) {
    return type_of(tables().recovery_types, number);
}

unsigned int ProductTypeFinder::getRecoveryProductType(const std::string& type) {
    return number_of(tables().recovery_types, type);
}

} // namespace QV::SharedSupport
