// What the tests of values share: short ways to make them, and their XML for comparing.
#pragma once

#include <CFAdapters/CFAdapters.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace test {

inline CF::String text(std::string_view utf8) {
    return CF::String(utf8);
}
inline CF::Number number(long long value) {
    return CF::Number(value);
}
inline CF::AutoPointer null_object() {
    return CF::AutoPointer(kCFNull);
}
inline CF::AutoPointer url() {
    return CF::AutoPointer::adopt(
        CFURLCreateWithString(kCFAllocatorDefault, CFSTR("http://example.com/"), nullptr));
}
inline CF::AutoPointer set() {
    return CF::AutoPointer::adopt(CFSetCreate(kCFAllocatorDefault, nullptr, 0, &kCFTypeSetCallBacks));
}

/// The value as an XML property list; "" if it is none.
inline std::string xml(const CF::Type& value) {
    const CF::Data data = CF::Data::adopt(CFPropertyListCreateData(
        kCFAllocatorDefault, value.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    return {reinterpret_cast<const char*>(data.bytes().data()), data.size()};
}

/// The value that a text describes, in whatever format it is.
inline CF::AutoPointer parsed(std::string_view list) {
    const CF::Data data(std::as_bytes(std::span(list)));
    return CF::AutoPointer::adopt(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                                               kCFPropertyListImmutable, nullptr, nullptr));
}

/// `levels` arrays within each other, with `core` innermost.
inline CF::AutoPointer nested(std::size_t levels, CF::AutoPointer core) {
    for (std::size_t level = 0; level < levels; ++level)
        core = CF::Array::of(core);
    return core;
}

/// How many arrays lie within each other.
inline std::size_t depth(CF::AutoPointer value) {
    std::size_t levels = 0;
    for (; value.is<CF::Array>(); ++levels)
        value = CF::Array(value)[0];
    return levels;
}

} // namespace test
