#include <QVSharedSupport/ProductTypeFinder.h>

#include <QVSharedSupport/errors.h>
#include <QVSharedSupport/file.h>

#include <CFAdapters/Data.h>

#include <boost/system/system_error.hpp>

#include <fmt/format.h>

#include <new>
#include <stdexcept>
#include <utility>

namespace QV::SharedSupport {
namespace {

constexpr unsigned long long largest_file = 0x40000000;

CF::Dictionary read_dictionary(const std::string& path) {
    file::readable_file file{filesystem::path(path)};
    const CF::Data data(file.read_whole_file(largest_file));
    if (!data) throw std::bad_alloc();
    const auto root = CF::Dictionary::adopt(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    // The same for what is no property list at all.
    if (root.empty()) throw std::runtime_error("version info file contains no elements");
    return root;
}

CF::Error could_not_load(const std::exception& reason) {
    return Error(ErrorCode::CannotRetrieveResource, nullptr,
                 fmt::format("Could not load product types from file: {}", reason.what()));
}

} // namespace

void ProductTypeFinder::loadFromFile(const boost::filesystem::path& path) {
    CF::String narrow;
    try {
        narrow = CF::String(path.string());
    } catch (const boost::system::system_error& failure) {
        throw could_not_load(failure);
    }
    loadFromFile(std::move(narrow));
}

void ProductTypeFinder::loadFromFile(CF::String path) {
    try {
        load(read_dictionary(path.to_string()));
    } catch (const std::exception& failure) {
        throw could_not_load(failure);
    }
}

} // namespace QV::SharedSupport
