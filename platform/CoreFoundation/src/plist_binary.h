// The layout of binary property lists: a header, the objects, a table of their offsets, a trailer. All
// numbers are big-endian. A list or dictionary refers to objects by their place in the table.
#ifndef COREFOUNDATION_SRC_PLIST_BINARY_H
#define COREFOUNDATION_SRC_PLIST_BINARY_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cf::plist {

inline constexpr std::string_view binary_header = "bplist00";
/// Six bytes of no meaning, the sizes of an offset and of a reference, then three numbers of eight bytes: how
/// many objects there are, which is the root, where the table begins.
inline constexpr std::size_t binary_trailer_size = 32;

/// The upper half of an object's first byte. The lower half holds a size or a count.
enum class marker : std::uint8_t {
    simple = 0x0, ///< The lower half is one of the values below.
    integer = 0x1,
    real = 0x2,
    date = 0x3,
    data = 0x4,
    ascii = 0x5,
    utf16 = 0x6,
    uid = 0x8,
    array = 0xA,
    set = 0xC,
    dict = 0xD
};

inline constexpr std::uint8_t simple_null = 0x00;
inline constexpr std::uint8_t simple_false = 0x08;
inline constexpr std::uint8_t simple_true = 0x09;
/// A lower half that says: an integer object follows, which is the count.
inline constexpr std::uint8_t long_count = 0xF;

} // namespace cf::plist

#endif
