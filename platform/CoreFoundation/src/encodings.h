// Reading and writing text in the encodings that strings are made from and converted to.
#ifndef COREFOUNDATION_SRC_ENCODINGS_H
#define COREFOUNDATION_SRC_ENCODINGS_H

#include "string_storage.h"

#include <array>
#include <span>

namespace cf {

/// Whether text can be converted from and to an encoding.
bool is_available(CFStringEncoding encoding);

/// Whether ASCII text is the same bytes in an encoding.
bool contains_ascii(CFStringEncoding encoding);

/// Makes a string of bytes. Null when they are not well formed, when the encoding is not known, and for want
/// of memory.
CFStringRef decode(CFAllocatorRef allocator, std::span<const UInt8> bytes, CFStringEncoding encoding,
                   bool is_external);

/// The character of a byte from 0x80 up in NEXTSTEP's Latin encoding; 0 where there is none.
UniChar decode_nextstep(UInt8 byte);

/// One character, encoded.
struct encoded {
    std::array<UInt8, 12> bytes;
    std::size_t size;   ///< 0 when the encoding lacks the character.
    CFIndex units_used; ///< 1, or 2 for a surrogate pair.
};

/// Encodes the character at `index` of a text.
encoded encode_character(text_view text, CFIndex index, CFIndex end, CFStringEncoding encoding);

/// How a byte order mark looks in an encoding, for texts that leave the process; empty when it has none.
std::span<const UInt8> byte_order_mark(CFStringEncoding encoding);

} // namespace cf

#endif
