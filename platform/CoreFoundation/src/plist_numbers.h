// The numbers of XML property lists, as text.
#ifndef COREFOUNDATION_SRC_PLIST_NUMBERS_H
#define COREFOUNDATION_SRC_PLIST_NUMBERS_H

#include "number_storage.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace cf::plist {

/// What reading an <integer> has come to.
enum class integer_outcome {
    read,
    end_of_text,   ///< The text ends before the '<' of the close tag.
    empty,         ///< There is nothing but blanks.
    incomplete,    ///< A sign or "0x" without digits.
    bad_character, ///< `at` stands at a character that is no digit.
    hex_digit,     ///< `at` stands at a hexadecimal digit without "0x".
    overflow,      ///< More than 2^64 - 1.
    underflow      ///< Less than -2^63.
};

/// A sign and a magnitude.
struct parsed_integer {
    bool negative = false;
    std::uint64_t magnitude = 0;
};

/// Reads an integer up to the next '<' and moves `at` there.
///
/// Blanks (control characters and some spaces of Unicode too) may precede the sign and the digits. "0x"
/// introduces hexadecimal digits.
integer_outcome parse_integer(const char*& at, const char* end, parsed_integer& result);

/// Reads a real: blanks, then a decimal number or, in any case, "nan", "inf" or "infinity". Too large a
/// number is infinite, too small a one zero.
std::optional<double> parse_real(std::string_view text);

/// The longest text that format_real writes.
inline constexpr std::size_t longest_real = 32;

/// Writes a real with 17 significant digits, as the C format %.17g does, at `to`, and returns the end. Zero
/// is "0.0" whatever its sign.
char* format_real(double value, char* to);

/// The longest text that format_integer writes.
inline constexpr std::size_t longest_integer = 48;

/// Writes an integer in decimal at `to` and returns the end.
char* format_integer(int128 value, char* to);

} // namespace cf::plist

#endif
