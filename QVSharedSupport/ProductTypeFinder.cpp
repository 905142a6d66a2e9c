#include <QVSharedSupport/ProductTypeFinder.h>

#include <QVLog/QVLog.h>

#include <boost/bimap/bimap.hpp>
#include <boost/bimap/unordered_set_of.hpp>

#include <fmt/format.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <string_view>

namespace QV::SharedSupport {
namespace {

using type_map = boost::bimaps::bimap<boost::bimaps::unordered_set_of<unsigned int>,
                                      boost::bimaps::unordered_set_of<std::string>>;

// Behind pointers, because swapping two maps would copy them, under the lock and perhaps without success.
using type_map_pointer = std::unique_ptr<const type_map>;

struct type_tables {
    std::shared_mutex table_lock;
    type_map_pointer dfu_types = std::make_unique<type_map>();
    type_map_pointer recovery_types = std::make_unique<type_map>();
};

// Made at the first use, for programs that load from static objects of their own.
type_tables& tables() {
    static type_tables shared;
    return shared;
}

CF::Dictionary dictionary_in(const CF::Dictionary& parent, const char* name) {
    const CF::String key{std::string_view(name)};
    if (!key) throw std::bad_alloc();
    CF::Dictionary found = parent.get<CF::Dictionary>(key);
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

type_map_pointer make_map(const CF::Dictionary& entries) {
    auto map = std::make_unique<type_map>();
    for (const auto& [key, value] : entries) {
        const std::string number_text = CF::String(key).to_string();
        const std::string type = CF::String(value).to_string();
        if (number_text.empty() || type.empty()) continue;
        // Refused if either is there already: the first one wins.
        if (const auto number = leading_number(number_text)) map->insert({*number, type});
    }
    return map;
}

void log_count(const Logging::logger& log, std::size_t count, const char* mode) noexcept {
    log.log(Logging::log_level::notice, "Loaded {} {} product types", count, mode);
}

std::string type_of(const type_map_pointer& map, unsigned int number) {
    const std::shared_lock lock(tables().table_lock);
    return map->left.at(number);
}

unsigned int number_of(const type_map_pointer& map, const std::string& type) {
    const std::shared_lock lock(tables().table_lock);
    const auto found = map->right.find(type);
    if (found == map->right.end()) throw std::out_of_range("Can't find device " + type);
    return found->second;
}

} // namespace

const std::string ProductTypeFinder::AppleVersionInfoFilenameDefault = "version.xml";

void ProductTypeFinder::load(const CF::Dictionary& root) {
    const CF::Dictionary types = dictionary_in(root, "MobileDeviceProductTypes");
    const CF::Dictionary dfu_entries = dictionary_in(types, "DFU");
    const CF::Dictionary recovery_entries = dictionary_in(types, "Recovery");

    // Built before the lock is taken and, for what they replace, destroyed after it is released. All that may
    // lack memory comes before anything is replaced.
    const Logging::logger log = Logging::get_logger("System");
    type_tables& shared = tables();
    type_map_pointer dfu = make_map(dfu_entries);
    const std::size_t dfu_count = dfu->size();
    type_map_pointer recovery;
    std::exception_ptr failure;
    try {
        recovery = make_map(recovery_entries);
    } catch (const std::out_of_range&) {
        // The table of DFU is good and comes first: it is replaced all the same.
        failure = std::current_exception();
    }
    const std::size_t recovery_count = recovery != nullptr ? recovery->size() : 0;
    {
        const std::unique_lock lock(shared.table_lock);
        shared.dfu_types.swap(dfu);
        if (recovery != nullptr) shared.recovery_types.swap(recovery);
    }
    log_count(log, dfu_count, "DFU");
    if (failure) std::rethrow_exception(failure);
    log_count(log, recovery_count, "Recovery");
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
