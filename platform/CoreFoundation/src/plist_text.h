// Text as the property-list readers and writers meet it: UTF-8 to UTF-16 and back, line numbers, white space.
#ifndef COREFOUNDATION_SRC_PLIST_TEXT_H
#define COREFOUNDATION_SRC_PLIST_TEXT_H

#include <CoreFoundation/CFString.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace cf::plist {

/// What decode_utf8 returns for text that is not well formed.
inline constexpr char32_t malformed = 0xFFFFFFFF;

/// Reads the scalar value that begins at `at`, which is before `end`, and moves `at` behind it. Overlong
/// forms, surrogates, values beyond U+10FFFF and cut-off sequences are malformed.
char32_t decode_utf8(const char*& at, const char* end);

/// How many UTF-16 units the text takes, or -1 if it is not well formed.
std::ptrdiff_t utf16_length(std::string_view utf8);

/// Writes well-formed UTF-8 as UTF-16 to `units`, which has room for all of it.
void utf8_to_utf16(std::string_view utf8, UniChar* units);

/// Writes a scalar value in UTF-8 at `to`, which has room for four bytes, and returns the end.
char* encode_utf8(char32_t scalar, char* to);
void append_utf8(std::string& to, char32_t scalar);

/// Reads the scalar value that begins at units[index] and moves `index` behind it; an unpaired surrogate
/// gives `malformed`.
char32_t decode_utf16(std::span<const UniChar> units, std::size_t& index);

inline bool is_high_surrogate(char32_t unit) {
    return (unit & 0xFFFFFC00) == 0xD800;
}
inline bool is_low_surrogate(char32_t unit) {
    return (unit & 0xFFFFFC00) == 0xDC00;
}

/// The four characters that separate elements.
inline bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// The number of the line that `at` lies in: one more than the line ends (CR, LF or CRLF) before it.
template <typename Unit>
std::size_t line_number(const Unit* begin, const Unit* at) {
    std::size_t line = 1;
    for (const Unit* p = begin; p < at; ++p) {
        if (*p == '\n') {
            ++line;
        } else if (*p == '\r') {
            ++line;
            if (p + 1 < at && p[1] == '\n') ++p;
        }
    }
    return line;
}

} // namespace cf::plist

#endif
