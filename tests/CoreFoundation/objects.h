// What the tests of CoreFoundation share: objects that release themselves, and texts that can be compared.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace objects {

struct releaser {
    void operator()(const void* object) const { CFRelease(object); }
};
template <typename Ref>
using owned = std::unique_ptr<std::remove_pointer_t<Ref>, releaser>;
template <typename Ref>
owned<Ref> own(Ref object) {
    return owned<Ref>(object);
}

/// The text of a string in UTF-8; "(null)" for NULL.
inline std::string utf8(CFStringRef string) {
    if (string == nullptr) return "(null)";
    const CFRange all = CFRangeMake(0, CFStringGetLength(string));
    CFIndex size = 0;
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    std::string text(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, reinterpret_cast<UInt8*>(text.data()),
                     size, nullptr);
    return text;
}

/// The same for a string that belongs to the caller, which is released.
inline std::string utf8_of(CFStringRef string) {
    const auto released = own(string);
    return utf8(released.get());
}

inline owned<CFStringRef> string(const std::string& utf8) {
    return own(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                       static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

inline owned<CFMutableStringRef> mutable_string(const std::string& utf8) {
    return own(CFStringCreateMutableCopy(nullptr, 0, string(utf8).get()));
}

inline owned<CFNumberRef> number(int value) {
    return own(CFNumberCreate(nullptr, kCFNumberIntType, &value));
}

inline owned<CFMutableArrayRef> array() {
    return own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
}

inline owned<CFMutableDictionaryRef> dictionary() {
    return own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                         &kCFTypeDictionaryValueCallBacks));
}

} // namespace objects
