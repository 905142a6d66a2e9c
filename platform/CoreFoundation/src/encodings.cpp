#include "encodings.h"

#include <algorithm>
#include <optional>

namespace cf {

namespace {

// Mac OS Roman from 0x80 up.
constexpr std::array<UniChar, 128> mac_roman = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5,
    0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, 0x00F2, 0x00F4,
    0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6,
    0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, 0x221E, 0x00B1, 0x2264, 0x2265,
    0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF,
    0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, 0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5,
    0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044,
    0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9,
    0x0131, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

// Windows code page 1252 from 0x80 up; 0 where a byte has no meaning.
constexpr std::array<UniChar, 128> windows_latin1 = {
    0x20AC, 0x0000, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152,
    0x0000, 0x017D, 0x0000, 0x0000, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC, 0x2122,
    0x0161, 0x203A, 0x0153, 0x0000, 0x017E, 0x0178, 0x00A0, 0x00A1, 0x00A2, 0x00A3, 0x00A4, 0x00A5, 0x00A6,
    0x00A7, 0x00A8, 0x00A9, 0x00AA, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x00AF, 0x00B0, 0x00B1, 0x00B2, 0x00B3,
    0x00B4, 0x00B5, 0x00B6, 0x00B7, 0x00B8, 0x00B9, 0x00BA, 0x00BB, 0x00BC, 0x00BD, 0x00BE, 0x00BF, 0x00C0,
    0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C6, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC, 0x00CD,
    0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D7, 0x00D8, 0x00D9, 0x00DA,
    0x00DB, 0x00DC, 0x00DD, 0x00DE, 0x00DF, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5, 0x00E6, 0x00E7,
    0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00ED, 0x00EE, 0x00EF, 0x00F0, 0x00F1, 0x00F2, 0x00F3, 0x00F4,
    0x00F5, 0x00F6, 0x00F7, 0x00F8, 0x00F9, 0x00FA, 0x00FB, 0x00FC, 0x00FD, 0x00FE, 0x00FF};

// NEXTSTEP's Latin encoding from 0x80 up; 0 where a byte has no meaning.
constexpr std::array<UniChar, 128> nextstep = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC,
    0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9, 0x00DA, 0x00DB,
    0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192,
    0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x00AE, 0x2013, 0x2020, 0x2021,
    0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9,
    0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD,
    0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5,
    0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB,
    0x0131, 0x00FC, 0x00FD, 0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0x0000, 0x0000};

// The upper half of an encoding whose lower half is ASCII; null when it is not such a one or needs no table.
const std::array<UniChar, 128>* upper_half(CFStringEncoding encoding) {
    switch (encoding) {
    case kCFStringEncodingMacRoman:
        return &mac_roman;
    case kCFStringEncodingWindowsLatin1:
        return &windows_latin1;
    case kCFStringEncodingNextStepLatin:
        return &nextstep;
    default:
        return nullptr;
    }
}

constexpr bool is_high(UniChar unit) {
    return (unit & 0xFC00U) == 0xD800U;
}

constexpr bool is_low(UniChar unit) {
    return (unit & 0xFC00U) == 0xDC00U;
}

// What a text is decoded into: first counted, then written to a string of the right width and size.
struct counting_sink {
    std::size_t length = 0;
    unsigned bits = 0;
    void put(UniChar unit) {
        ++length;
        bits |= unit;
    }
};

struct narrow_sink {
    char* next;
    void put(UniChar unit) { *next++ = static_cast<char>(unit); }
};

struct wide_sink {
    UniChar* next;
    void put(UniChar unit) { *next++ = unit; }
};

template <typename Sink>
void put_scalar(Sink& sink, char32_t scalar) {
    if (scalar < 0x10000) return sink.put(static_cast<UniChar>(scalar));
    sink.put(static_cast<UniChar>(0xD7C0U + (scalar >> 10U)));
    sink.put(static_cast<UniChar>(0xDC00U + (scalar & 0x3FFU)));
}

// Strict: overlong forms, surrogates and values beyond the last character are refused.
template <typename Sink>
bool decode_utf8(std::span<const UInt8> bytes, Sink& sink) {
    const UInt8* at = bytes.data();
    const UInt8* const end = at + bytes.size();
    while (at != end) {
        const unsigned lead = *at++;
        if (lead < 0x80) {
            sink.put(static_cast<UniChar>(lead));
            continue;
        }
        const std::ptrdiff_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        if (lead < 0xC2 || lead > 0xF4 || end - at < more) return false;
        char32_t scalar = lead & (0x3FU >> static_cast<unsigned>(more));
        for (std::ptrdiff_t i = 0; i < more; ++i, ++at) {
            if ((*at & 0xC0U) != 0x80) return false;
            scalar = (scalar << 6U) | (*at & 0x3FU);
        }
        if (more == 2 && (scalar < 0x800 || (scalar >= 0xD800 && scalar < 0xE000))) return false;
        if (more == 3 && (scalar < 0x10000 || scalar > 0x10FFFF)) return false;
        put_scalar(sink, scalar);
    }
    return true;
}

template <typename Sink>
bool decode_8bit(std::span<const UInt8> bytes, CFStringEncoding encoding, Sink& sink) {
    const auto* upper = upper_half(encoding);
    for (const UInt8 byte : bytes) {
        UniChar unit = byte;
        if (byte >= 0x80 && upper != nullptr) {
            unit = (*upper)[byte - 0x80U];
            if (unit == 0) return false;
        }
        sink.put(unit);
    }
    return true;
}

// An odd byte at the end is dropped. Unpaired surrogates are kept.
template <typename Sink>
bool decode_utf16(std::span<const UInt8> bytes, bool big_endian, Sink& sink) {
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const unsigned first = bytes[i];
        const unsigned second = bytes[i + 1];
        sink.put(static_cast<UniChar>(big_endian ? first << 8U | second : second << 8U | first));
    }
    return true;
}

template <typename Sink>
bool decode_utf32(std::span<const UInt8> bytes, bool big_endian, Sink& sink) {
    if (bytes.size() % 4 != 0) return false;
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        char32_t scalar = 0;
        for (std::size_t k = 0; k < 4; ++k)
            scalar = scalar << 8U | bytes[big_endian ? i + k : i + 3 - k];
        if (scalar > 0x10FFFF || (scalar >= 0xD800 && scalar < 0xE000)) return false;
        put_scalar(sink, scalar);
    }
    return true;
}

// \\ is a backslash, \ooo a byte's value in octal, \uhhhh a unit in hexadecimal; anything else stands for
// itself.
template <typename Sink>
bool decode_non_lossy_ascii(std::span<const UInt8> bytes, Sink& sink) {
    const auto number = [&bytes](std::size_t at, std::size_t digits,
                                 unsigned base) -> std::optional<unsigned> {
        if (bytes.size() - at < digits) return std::nullopt;
        unsigned value = 0;
        for (std::size_t i = at; i < at + digits; ++i) {
            const UInt8 byte = bytes[i];
            unsigned digit = 99;
            if (byte >= '0' && byte <= '9') digit = byte - unsigned{'0'};
            if (byte >= 'a' && byte <= 'f') digit = byte - unsigned{'a'} + 10;
            if (byte >= 'A' && byte <= 'F') digit = byte - unsigned{'A'} + 10;
            if (digit >= base) return std::nullopt;
            value = value * base + digit;
        }
        return value;
    };
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] >= 0x80) return false;
        UniChar unit = bytes[i];
        if (unit == '\\' && i + 1 < bytes.size()) {
            if (bytes[i + 1] == '\\') {
                i += 1;
            } else if (const auto octal = number(i + 1, 3, 8); octal && *octal <= 0xFF) {
                unit = static_cast<UniChar>(*octal);
                i += 3;
            } else if (bytes[i + 1] == 'u') {
                if (const auto hex = number(i + 2, 4, 16)) {
                    unit = static_cast<UniChar>(*hex);
                    i += 5;
                }
            }
        }
        sink.put(unit);
    }
    return true;
}

// Whether the bytes of UTF-16 or UTF-32 come with the high one first, after a mark at the start has been
// removed.
bool take_byte_order_mark(std::span<const UInt8>& bytes, std::size_t size) {
    const auto starts_with = [&bytes, size](bool big_endian) {
        if (bytes.size() < size) return false;
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t from_low = big_endian ? size - 1 - i : i;
            const UInt8 expected = from_low == 0 ? 0xFF : from_low == 1 ? 0xFE : 0;
            if (bytes[i] != expected) return false;
        }
        return true;
    };
    const bool is_little = starts_with(false);
    if (is_little || starts_with(true)) bytes = bytes.subspan(size);
    return !is_little;
}

template <typename Sink>
bool decode_into(std::span<const UInt8> bytes, CFStringEncoding encoding, bool is_external, Sink& sink) {
    switch (encoding) {
    case kCFStringEncodingUTF8:
        if (bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF)
            bytes = bytes.subspan(3);
        return decode_utf8(bytes, sink);
    case kCFStringEncodingUTF16: {
        // Within the process text is in the machine's order, which on all our machines is low byte first.
        const bool big_endian = is_external && take_byte_order_mark(bytes, 2);
        return decode_utf16(bytes, big_endian, sink);
    }
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
        return decode_utf16(bytes, encoding == kCFStringEncodingUTF16BE, sink);
    case kCFStringEncodingUTF32: {
        const bool big_endian = take_byte_order_mark(bytes, 4);
        return decode_utf32(bytes, big_endian, sink);
    }
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
        return decode_utf32(bytes, encoding == kCFStringEncodingUTF32BE, sink);
    case kCFStringEncodingNonLossyASCII:
        return decode_non_lossy_ascii(bytes, sink);
    default:
        return is_available(encoding) && decode_8bit(bytes, encoding, sink);
    }
}

encoded encode_utf8(char32_t scalar, CFIndex units_used) {
    encoded result{{}, 0, units_used};
    const auto put = [&result](char32_t value) { result.bytes[result.size++] = static_cast<UInt8>(value); };
    if (scalar < 0x80) {
        put(scalar);
    } else if (scalar < 0x800) {
        put(0xC0U | scalar >> 6U);
        put(0x80U | (scalar & 0x3FU));
    } else if (scalar < 0x10000) {
        put(0xE0U | scalar >> 12U);
        put(0x80U | (scalar >> 6U & 0x3FU));
        put(0x80U | (scalar & 0x3FU));
    } else {
        put(0xF0U | scalar >> 18U);
        put(0x80U | (scalar >> 12U & 0x3FU));
        put(0x80U | (scalar >> 6U & 0x3FU));
        put(0x80U | (scalar & 0x3FU));
    }
    return result;
}

encoded encode_fixed(char32_t value, std::size_t size, bool big_endian, CFIndex units_used) {
    encoded result{{}, size, units_used};
    for (std::size_t i = 0; i < size; ++i) {
        const std::size_t shift = 8 * (big_endian ? size - 1 - i : i);
        result.bytes[i] = static_cast<UInt8>(value >> shift);
    }
    return result;
}

encoded encode_non_lossy_ascii(UniChar unit) {
    encoded result{{}, 0, 1};
    const auto put = [&result](unsigned value) { result.bytes[result.size++] = static_cast<UInt8>(value); };
    constexpr std::string_view digits = "0123456789abcdef";
    if (unit == '\\') {
        put('\\');
        put('\\');
    } else if (unit < 0x80) {
        put(unit);
    } else if (unit < 0x100) {
        put('\\');
        for (const unsigned shift : {6U, 3U, 0U})
            put('0' + (static_cast<unsigned>(unit) >> shift & 7U));
    } else {
        put('\\');
        put('u');
        for (const unsigned shift : {12U, 8U, 4U, 0U})
            put(static_cast<unsigned char>(digits[static_cast<unsigned>(unit) >> shift & 0xFU]));
    }
    return result;
}

encoded encode_8bit(UniChar unit, CFStringEncoding encoding) {
    if (unit < 0x80) return {{static_cast<UInt8>(unit)}, 1, 1};
    if (const auto* upper = upper_half(encoding)) {
        const auto* const found = std::find(upper->begin(), upper->end(), unit);
        if (found == upper->end()) return {{}, 0, 1};
        return {{static_cast<UInt8>(0x80 + (found - upper->begin()))}, 1, 1};
    }
    if (encoding == kCFStringEncodingISOLatin1 && unit < 0x100) return {{static_cast<UInt8>(unit)}, 1, 1};
    return {{}, 0, 1};
}

} // namespace

bool is_available(CFStringEncoding encoding) {
    switch (encoding) {
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingWindowsLatin1:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingNextStepLatin:
    case kCFStringEncodingASCII:
    case kCFStringEncodingUTF8:
    case kCFStringEncodingNonLossyASCII:
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
        return true;
    default:
        return false;
    }
}

bool contains_ascii(CFStringEncoding encoding) {
    switch (encoding) {
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingWindowsLatin1:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingNextStepLatin:
    case kCFStringEncodingASCII:
    case kCFStringEncodingUTF8:
        return true;
    default:
        return false;
    }
}

UniChar decode_nextstep(UInt8 byte) {
    return byte < 0x80 ? byte : nextstep[byte - 0x80U];
}

CFStringRef decode(CFAllocatorRef allocator, std::span<const UInt8> bytes, CFStringEncoding encoding,
                   bool is_external) {
    if (contains_ascii(encoding)) {
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        if (is_ascii(text)) return create_ascii_string(allocator, text);
    }
    counting_sink counted;
    if (!decode_into(bytes, encoding, is_external, counted)) return nullptr;
    CFStringRef made = nullptr;
    if (counted.bits < 0x80) {
        narrow_sink sink{nullptr};
        made = create_narrow_string(allocator, counted.length, &sink.next);
        if (made != nullptr) decode_into(bytes, encoding, is_external, sink);
    } else {
        wide_sink sink{nullptr};
        made = create_wide_string(allocator, counted.length, &sink.next);
        if (made != nullptr) decode_into(bytes, encoding, is_external, sink);
    }
    return made;
}

encoded encode_character(text_view text, CFIndex index, CFIndex end, CFStringEncoding encoding) {
    const UniChar unit = text[index];
    switch (encoding) {
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16LE:
        return encode_fixed(unit, 2, false, 1);
    case kCFStringEncodingUTF16BE:
        return encode_fixed(unit, 2, true, 1);
    case kCFStringEncodingNonLossyASCII:
        return encode_non_lossy_ascii(unit);
    case kCFStringEncodingUTF8:
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32LE:
    case kCFStringEncodingUTF32BE: {
        char32_t scalar = unit;
        CFIndex used = 1;
        if (is_high(unit) && index + 1 < end && is_low(text[index + 1])) {
            scalar = 0x10000U + ((unit & 0x3FFU) << 10U) + (text[index + 1] & 0x3FFU);
            used = 2;
        } else if (is_high(unit) || is_low(unit)) {
            return {{}, 0, 1};
        }
        if (encoding == kCFStringEncodingUTF8) return encode_utf8(scalar, used);
        return encode_fixed(scalar, 4, encoding == kCFStringEncodingUTF32BE, used);
    }
    default:
        return encode_8bit(unit, encoding);
    }
}

std::span<const UInt8> byte_order_mark(CFStringEncoding encoding) {
    static constexpr std::array<UInt8, 4> mark = {0xFF, 0xFE, 0, 0};
    if (encoding == kCFStringEncodingUTF16) return std::span(mark).first(2);
    if (encoding == kCFStringEncodingUTF32) return mark;
    return {};
}

} // namespace cf
