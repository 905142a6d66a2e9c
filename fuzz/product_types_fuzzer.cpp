// Loads product types from arbitrary property lists; what was loaded is looked up in both directions.
#include <QVSharedSupport/ProductTypeFinder.h>

#include <CFAdapters/CFAdapters.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using QV::SharedSupport::ProductTypeFinder;

/// Every type of the dictionary that the table knows must be found again under its number.
template <class TypeOf, class NumberOf>
void look_up(const CF::Dictionary& entries, TypeOf type_of, NumberOf number_of) {
    for (const auto& [key, value] : entries) {
        const std::string type = CF::String(value).to_string();
        try {
            if (type_of(number_of(type)) != type) std::abort();
        } catch (const std::out_of_range& failure) {
            // Skipped, or its number belongs to another type.
            // A text is read up to its first NUL. NOLINTNEXTLINE(readability-redundant-string-cstr)
            if (failure.what() != std::string_view(("Can't find device " + type).c_str())) std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const CF::Data data(std::as_bytes(std::span(bytes, size)));
    const CF::Dictionary root = CF::Dictionary::adopt(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    try {
        ProductTypeFinder::load(root);
    } catch (const std::out_of_range& failure) {
        if (failure.what() != std::string_view("stoi argument out of range")) std::abort();
        return 0;
    } catch (const std::runtime_error& failure) {
        if (!std::string_view(failure.what()).starts_with("version info has no dictionary '")) std::abort();
        return 0;
    }
    const auto types = root.get<CF::Dictionary>("MobileDeviceProductTypes");
    look_up(types.get<CF::Dictionary>("DFU"), ProductTypeFinder::getDFUDeviceType,
            ProductTypeFinder::getDFUProductType);
    look_up(types.get<CF::Dictionary>("Recovery"), ProductTypeFinder::getRecoveryDeviceType,
            ProductTypeFinder::getRecoveryProductType);
    return 0;
}
