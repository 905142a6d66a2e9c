#include <QVSharedSupport/notification.h>

#include <QVSharedSupport/errors.h>
#include <QVSharedSupport/sanitize.h>

#include <CFAdapters/Data.h>

#include <boost/system/system_error.hpp>

#include <fmt/format.h>

namespace QV {

namespace {

const CF::String name_key(CFSTR("name"));
const CF::String contents_key(CFSTR("contents"));

/// The dictionary as it is to be written; empty if it cannot be.
CF::Dictionary wire_form(const notification& message) {
    CF::MutableDictionary dictionary = CF::MutableDictionary::create();
    if (!dictionary.set(name_key, CF::String(message.name))) return {};
    if (message.contents && !dictionary.set(contents_key, message.contents)) return {};
    return CF::Dictionary(sanitize_for_xml(dictionary, on_error::give_nothing));
}

CF::Dictionary read_dictionary(const std::vector<unsigned char>& bytes) noexcept {
    if (bytes.empty()) return {};
    const CF::Data data = CF::Data::adopt(CFDataCreateWithBytesNoCopy(
        kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
    return CF::Dictionary::adopt(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                                              kCFPropertyListImmutable, nullptr, nullptr));
}

} // namespace

std::vector<unsigned char> serialise(const notification& message) {
    CF::Data data;
    if (const CF::Dictionary dictionary = wire_form(message))
        data = CF::Data::adopt(CFPropertyListCreateData(kCFAllocatorDefault, dictionary.get(),
                                                        kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (!data)
        throw boost::system::system_error(SharedSupport::ErrorCode::FailedToCreatePropertyList,
                                          "QV::serialise notification");
    const UInt8* const first = CFDataGetBytePtr(data.get());
    return {first, first + data.size()};
}

notification parse(const std::vector<unsigned char>& bytes) {
    const CF::Dictionary dictionary = read_dictionary(bytes);
    if (const CF::String name = dictionary.get<CF::String>(name_key))
        return {name.to_string(), dictionary.get<CF::Dictionary>(contents_key)};
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    throw boost::system::system_error(SharedSupport::ErrorCode::FailedToParse,
                                      fmt::format("QV::parse notification {} {}", bytes.size(), text));
}

} // namespace QV
