#pragma once

#include <string>
#include <string_view>

/// UTF-8 and UTF-16, written once for the whole library.
namespace QV::utf {

/// What becomes of malformed input.
enum class mode {
    strict,  ///< It is refused: `std::runtime_error` "Conversion failed".
    lenient, ///< It is dropped without a word, and the rest is converted.
};

/// UTF-8 to UTF-16. Overlong forms, encoded surrogates and values above U+10FFFF are malformed. What is
/// dropped in lenient mode ends before the first byte that could begin a character. @throws std::bad_alloc
std::u16string to_utf16(std::string_view text, mode mode);

/// UTF-16 to UTF-8. In lenient mode a lone surrogate is dropped, and a high surrogate takes the unit after it
/// along: by then that unit has been consumed, and names in the field were made this way. @throws
/// std::bad_alloc
std::string to_utf8(std::u16string_view text, mode mode);

} // namespace QV::utf
