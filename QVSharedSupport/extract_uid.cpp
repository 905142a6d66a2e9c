#include <QVSharedSupport/keyed_unarchiver.h>

#include <CFAdapters/Data.h>

#include <algorithm>

namespace QV::detail {

namespace {

constexpr std::string_view uid_key = "CF$UID";
/// As long as the other, and of no meaning to the parser.
constexpr std::string_view plain_key = "DF$UID";
const CF::String uid_key_string(CFSTR("CF$UID"));
const CF::String plain_key_string(CFSTR("DF$UID"));

/// Whether an object is none of those whose type says that they cannot be references.
bool may_be_reference(const CF::AutoPointer& object) {
    const CFTypeID type = object.type_id();
    return object && type != CFStringGetTypeID() && type != CFNumberGetTypeID() &&
           type != CFBooleanGetTypeID() && type != CFDateGetTypeID() && type != CFDataGetTypeID() &&
           type != CFArrayGetTypeID() && type != CFNullGetTypeID();
}

keyed_archiver_uid uid_of(const CF::Number& number) {
    return {from_cf_type_t<std::uint32_t>{}(number)};
}

} // namespace

// By value, as callers have always linked it. NOLINTNEXTLINE(performance-unnecessary-value-param)
std::optional<keyed_archiver_uid> extract_uid(CF::AutoPointer object) {
    if (!may_be_reference(object)) return std::nullopt;
    // A dictionary that was never parsed. What is larger than a reference is not worth writing out.
    if (const CF::Dictionary dictionary(object); dictionary) {
        const CF::Number number =
            dictionary.size() == 1 ? dictionary.get<CF::Number>(uid_key_string) : CF::Number();
        return number ? std::optional(uid_of(number)) : std::nullopt;
    }
    // No public function reads an archive reference. Written out it is a dictionary; under another key it
    // stays one when it is read back.
    const CF::Data written = CF::Data::adopt(CFPropertyListCreateData(
        kCFAllocatorDefault, object.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    std::vector<std::byte> xml = written.to_vector();
    const auto same = [](std::byte byte, char character) {
        return byte == static_cast<std::byte>(character);
    };
    const auto found = std::search(xml.begin(), xml.end(), uid_key.begin(), uid_key.end(), same);
    if (found == xml.end()) return std::nullopt;
    std::transform(plain_key.begin(), plain_key.end(), found,
                   [](char character) { return static_cast<std::byte>(character); });
    const CF::Data changed = CF::Data::adopt(
        CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(xml.data()),
                                    static_cast<CFIndex>(xml.size()), kCFAllocatorNull));
    const CF::Dictionary read = CF::Dictionary::adopt(CFPropertyListCreateWithData(
        kCFAllocatorDefault, changed.get(), kCFPropertyListImmutable, nullptr, nullptr));
    const CF::Number number = read.size() == 1 ? read.get<CF::Number>(plain_key_string) : CF::Number();
    return number ? std::optional(uid_of(number)) : std::nullopt;
}

} // namespace QV::detail
