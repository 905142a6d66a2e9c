#include "plist_text.h"

namespace cf::plist {

namespace {

bool is_continuation(const char* at, const char* end) {
    return at < end && (static_cast<unsigned char>(*at) & 0xC0) == 0x80;
}

} // namespace

char32_t decode_utf8(const char*& at, const char* end) {
    const auto first = static_cast<unsigned char>(*at++);
    if (first < 0x80) return first;
    const int length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4) return malformed;
    char32_t scalar = first & (0x7FU >> length);
    for (int i = 1; i < length; ++i) {
        if (!is_continuation(at, end)) return malformed;
        scalar = scalar << 6 | (static_cast<unsigned char>(*at++) & 0x3FU);
    }
    constexpr char32_t shortest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = scalar >= 0xD800 && scalar <= 0xDFFF;
    if (scalar < shortest[length] || surrogate || scalar > 0x10FFFF) return malformed;
    return scalar;
}

std::ptrdiff_t utf16_length(std::string_view utf8) {
    const char* at = utf8.data();
    const char* end = at + utf8.size();
    std::ptrdiff_t length = 0;
    while (at < end) {
        const char32_t scalar = decode_utf8(at, end);
        if (scalar == malformed) return -1;
        length += scalar > 0xFFFF ? 2 : 1;
    }
    return length;
}

void utf8_to_utf16(std::string_view utf8, UniChar* units) {
    const char* at = utf8.data();
    const char* end = at + utf8.size();
    while (at < end) {
        const char32_t scalar = decode_utf8(at, end);
        if (scalar > 0xFFFF) {
            *units++ = static_cast<UniChar>(0xD7C0 + (scalar >> 10));
            *units++ = static_cast<UniChar>(0xDC00 + (scalar & 0x3FF));
        } else {
            *units++ = static_cast<UniChar>(scalar);
        }
    }
}

char* encode_utf8(char32_t scalar, char* to) {
    if (scalar < 0x80) {
        *to++ = static_cast<char>(scalar);
    } else if (scalar < 0x800) {
        *to++ = static_cast<char>(0xC0 | scalar >> 6);
        *to++ = static_cast<char>(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
        *to++ = static_cast<char>(0xE0 | scalar >> 12);
        *to++ = static_cast<char>(0x80 | (scalar >> 6 & 0x3F));
        *to++ = static_cast<char>(0x80 | (scalar & 0x3F));
    } else {
        *to++ = static_cast<char>(0xF0 | scalar >> 18);
        *to++ = static_cast<char>(0x80 | (scalar >> 12 & 0x3F));
        *to++ = static_cast<char>(0x80 | (scalar >> 6 & 0x3F));
        *to++ = static_cast<char>(0x80 | (scalar & 0x3F));
    }
    return to;
}

void append_utf8(std::string& to, char32_t scalar) {
    char bytes[4];
    to.append(bytes, encode_utf8(scalar, bytes));
}

char32_t decode_utf16(std::span<const UniChar> units, std::size_t& index) {
    const char32_t unit = units[index++];
    if (is_low_surrogate(unit)) return malformed;
    if (!is_high_surrogate(unit)) return unit;
    if (index == units.size() || !is_low_surrogate(units[index])) return malformed;
    return 0x10000 + ((unit & 0x3FF) << 10) + (units[index++] & 0x3FFU);
}

} // namespace cf::plist
