// How strings are stored, and the quick ways to make them.
//
// A string holds either ASCII bytes ("narrow") or UTF-16 units ("wide"). What is all ASCII is stored narrow
// whenever it is made by copying; storage is always followed by a NUL of its own width.
#ifndef COREFOUNDATION_SRC_STRING_STORAGE_H
#define COREFOUNDATION_SRC_STRING_STORAGE_H

#include "runtime.h"

#include <CoreFoundation/CFString.h>

#include <span>
#include <string_view>

/// A string. `detail` is used.
struct __CFString
    : cf::object { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    mutable std::atomic<std::uint64_t> cached_hash; ///< 0 until it is asked for. Unused while mutable.
    CFIndex length;                                 ///< In units.
    const void* units;                              ///< ASCII bytes or UTF-16 units.
};

namespace cf {

/// `detail` of a string.
inline constexpr std::uint16_t string_is_wide = 1;
/// The units are a block of their own, to be given to `external_string::units_allocator`.
inline constexpr std::uint16_t string_is_external = 2;

/// A string whose units lie in a block of their own: mutable ones, and those made without copying.
struct external_string : __CFString {
    CFIndex capacity;               ///< Units that the block has room for, less its NUL.
    CFAllocatorRef units_allocator; ///< Resolved and retained; null for the system's.
};

/// A constant string of ASCII text, fit for constinit.
struct constant_string : __CFString {
    consteval explicit constant_string(std::string_view ascii)
        : __CFString{{{immortal}, type::string, false, 0, nullptr},
                     {0},
                     static_cast<CFIndex>(ascii.size()),
                     ascii.data()} {}
};

/// The text of a string, borrowed.
struct text_view {
    const void* units;
    CFIndex length;
    bool wide;

    std::string_view narrow() const {
        return {static_cast<const char*>(units), static_cast<std::size_t>(length)};
    }
    std::span<const UniChar> utf16() const {
        return {static_cast<const UniChar*>(units), static_cast<std::size_t>(length)};
    }
    UniChar operator[](CFIndex index) const {
        return wide ? static_cast<const UniChar*>(units)[index]
                    : static_cast<const unsigned char*>(units)[index];
    }
};

/// The text of a string that is not NULL.
inline text_view view(CFStringRef string) {
    return {string->units, string->length, (string->detail & string_is_wide) != 0};
}

/// Makes a string of bytes that the caller knows to be ASCII. Null for want of memory, as below.
CFStringRef create_ascii_string(CFAllocatorRef allocator, std::string_view ascii);
/// Makes a string of `length` ASCII characters, which the caller writes to `*storage` before anyone sees it.
CFStringRef create_narrow_string(CFAllocatorRef allocator, std::size_t length, char** storage);
/// Makes a wide string of `length` units, which the caller writes to `*storage` before anyone sees it: at
/// least one of them should not be ASCII.
CFStringRef create_wide_string(CFAllocatorRef allocator, std::size_t length, UniChar** storage);
/// Makes a string of UTF-16 units, stored narrow if they are all ASCII.
CFStringRef create_utf16_string(CFAllocatorRef allocator, std::span<const UniChar> units);
/// Makes a string of UTF-8 and drops a leading byte order mark; null also when the text is not well formed.
CFStringRef create_utf8_string(CFAllocatorRef allocator, std::string_view utf8);
/// Makes a mutable string with the text of an immutable one.
CFMutableStringRef create_mutable_string(CFAllocatorRef allocator, text_view text);

/// Whether all bytes are below 0x80.
bool is_ascii(std::string_view bytes);

/// The hash of a text: the same however it is stored.
std::uint64_t hash_text(text_view text);

/// Whether two texts have the same units.
bool same_text(text_view a, text_view b);

/// Orders by UTF-16 unit: negative, 0 or positive.
int compare_units(text_view a, text_view b);

} // namespace cf

#endif
