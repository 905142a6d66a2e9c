#include "plist_encoding.h"

#include "plist_text.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace cf::plist {

namespace {

constexpr std::string_view not_convertible = "Unable to convert string to correct encoding";

enum class encoding {
    utf8,
    utf16,
    utf16_le,
    utf16_be,
    utf32,
    utf32_le,
    utf32_be,
    latin1,
    windows1252,
    unknown
};

struct known_name {
    std::string_view name; ///< In lower case.
    encoding meaning;
};

// The registered names of each encoding. MacRoman is missing on purpose: a list that declares it is refused.
constexpr std::array names = {
    known_name{"utf-8", encoding::utf8},
    known_name{"utf8", encoding::utf8},
    known_name{"us-ascii", encoding::latin1},
    known_name{"ascii", encoding::latin1},
    known_name{"iso-8859-1", encoding::latin1},
    known_name{"iso_8859-1", encoding::latin1},
    known_name{"latin1", encoding::latin1},
    known_name{"l1", encoding::latin1},
    known_name{"windows-1252", encoding::windows1252},
    known_name{"cp1252", encoding::windows1252},
    known_name{"utf-16", encoding::utf16},
    known_name{"utf-16le", encoding::utf16_le},
    known_name{"utf-16be", encoding::utf16_be},
    known_name{"utf-32", encoding::utf32},
    known_name{"utf-32le", encoding::utf32_le},
    known_name{"utf-32be", encoding::utf32_be},
};

// What bytes 0x80 to 0x9F mean in Windows Latin 1; 0 for those that mean nothing.
constexpr std::array<char16_t, 32> windows1252_c1 = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

encoding encoding_named(std::string_view name) {
    std::string lower(name);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    }
    const auto* found = std::find_if(names.begin(), names.end(),
                                     [&](const known_name& known) { return known.name == lower; });
    return found == names.end() ? encoding::unknown : found->meaning;
}

// The value of the encoding attribute of an XML declaration; null data() if there is none.
std::string_view declared_encoding(std::string_view bytes) {
    if (!bytes.starts_with("<?xml")) return {};
    const std::string_view declaration = bytes.substr(0, bytes.find("?>"));
    constexpr std::string_view attribute = "encoding";
    std::size_t at = declaration.find(attribute);
    if (at == std::string_view::npos) return {};
    at = declaration.find_first_not_of(" \t\r\n=", at + attribute.size());
    if (at == std::string_view::npos || (declaration[at] != '"' && declaration[at] != '\'')) return {};
    const std::size_t end = declaration.find(declaration[at], at + 1);
    if (end == std::string_view::npos) return {};
    return declaration.substr(at + 1, end - at - 1);
}

std::uint32_t unit_at(std::string_view bytes, std::size_t at, std::size_t width, bool big_endian) {
    std::uint32_t unit = 0;
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t byte = at + (big_endian ? i : width - 1 - i);
        unit = unit << 8 | static_cast<unsigned char>(bytes[byte]);
    }
    return unit;
}

// A last unit that is cut off is ignored.
bool convert_utf16(std::string_view bytes, bool big_endian, std::string& to) {
    const std::size_t end = bytes.size() & ~std::size_t{1};
    to.reserve(end / 2 + end / 8);
    for (std::size_t at = 0; at < end; at += 2) {
        char32_t scalar = unit_at(bytes, at, 2, big_endian);
        if (is_low_surrogate(scalar)) return false;
        if (is_high_surrogate(scalar)) {
            at += 2;
            const char32_t low = at < end ? unit_at(bytes, at, 2, big_endian) : 0;
            if (!is_low_surrogate(low)) return false;
            scalar = 0x10000 + ((scalar & 0x3FF) << 10) + (low & 0x3FF);
        }
        append_utf8(to, scalar);
    }
    return true;
}

bool convert_utf32(std::string_view bytes, bool big_endian, std::string& to) {
    if (bytes.size() % 4 != 0) return false;
    to.reserve(bytes.size() / 4);
    for (std::size_t at = 0; at < bytes.size(); at += 4) {
        const char32_t scalar = unit_at(bytes, at, 4, big_endian);
        if (scalar > 0x10FFFF || is_high_surrogate(scalar) || is_low_surrogate(scalar)) return false;
        append_utf8(to, scalar);
    }
    return true;
}

bool convert_latin(std::string_view bytes, bool windows, std::string& to) {
    to.reserve(bytes.size() + bytes.size() / 8);
    for (const char c : bytes) {
        char32_t scalar = static_cast<unsigned char>(c);
        if (windows && scalar >= 0x80 && scalar < 0xA0) {
            scalar = windows1252_c1[scalar - 0x80];
            if (scalar == 0) return false;
        }
        append_utf8(to, scalar);
    }
    return true;
}

bool convert(std::string_view bytes, encoding from, std::string& to) {
    switch (from) {
    case encoding::utf16: // This machine's order: with a mark, the mark decides.
    case encoding::utf16_le:
        return convert_utf16(bytes, false, to);
    case encoding::utf16_be:
        return convert_utf16(bytes, true, to);
    case encoding::utf32_le:
        return convert_utf32(bytes, false, to);
    case encoding::utf32: // Big-endian when there is no mark.
    case encoding::utf32_be:
        return convert_utf32(bytes, true, to);
    case encoding::latin1:
        return convert_latin(bytes, false, to);
    case encoding::windows1252:
        return convert_latin(bytes, true, to);
    case encoding::utf8:
    case encoding::unknown:
        break;
    }
    return false;
}

void use(std::string_view bytes, encoding from, utf8_text& result) {
    if (from == encoding::utf8) {
        result.text = bytes;
    } else if (convert(bytes, from, result.converted)) {
        result.text = result.converted;
    } else {
        result.problem = not_convertible;
    }
}

} // namespace

void find_text(std::string_view bytes, utf8_text& result) {
    using namespace std::string_view_literals;
    // UTF-32 first: its little-endian mark begins with that of UTF-16.
    if (bytes.starts_with("\xFF\xFE\0\0"sv)) return use(bytes.substr(4), encoding::utf32_le, result);
    if (bytes.starts_with("\0\0\xFE\xFF"sv)) return use(bytes.substr(4), encoding::utf32_be, result);
    if (bytes.starts_with("\xFF\xFE"sv)) return use(bytes.substr(2), encoding::utf16_le, result);
    if (bytes.starts_with("\xFE\xFF"sv)) return use(bytes.substr(2), encoding::utf16_be, result);
    if (bytes.starts_with("\xEF\xBB\xBF"sv)) return use(bytes.substr(3), encoding::utf8, result);
    if (bytes.size() >= 2 && (bytes[0] == 0 || bytes[1] == 0))
        return use(bytes.substr(2), encoding::utf16, result);
    const std::string_view name = declared_encoding(bytes);
    if (name.data() == nullptr) return use(bytes, encoding::utf8, result);
    const encoding declared = encoding_named(name);
    if (declared == encoding::unknown) {
        result.problem = "Encountered unknown encoding (" + std::string(name) + ")";
        result.unknown_encoding = true;
        return;
    }
    use(bytes, declared, result);
}

} // namespace cf::plist
