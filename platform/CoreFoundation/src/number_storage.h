// How numbers are stored, and the quick ways to make them.
#ifndef COREFOUNDATION_SRC_NUMBER_STORAGE_H
#define COREFOUNDATION_SRC_NUMBER_STORAGE_H

#include "runtime.h"

#include <CoreFoundation/CFNumber.h>

/// A number. `detail` is its type: one of the first six of CFNumberType, or number_int128.
struct __CFNumber
    : cf::object { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    union {
        std::int64_t integer; ///< Of the integer types.
        double real;          ///< Of both real types: a 32-bit real is one that converts without loss.
        std::uint64_t low;    ///< Of number_int128: the low half. The high half follows the object.
    };
};

namespace cf {

/// The private type of integers beyond 64 bits, which CFNumberGetType calls kCFNumberSInt64Type and
/// CFNumberCreate accepts.
inline constexpr std::uint16_t number_int128 = 17;

/// A signed 128-bit integer.
struct int128 {
    std::int64_t high;
    std::uint64_t low;
};

/// A number of type number_int128.
struct wide_number : __CFNumber {
    std::int64_t high;
};

/// How a number is stored: 1 to 6, or number_int128.
inline std::uint16_t stored_type(CFNumberRef number) {
    return number->detail;
}
inline bool is_real(CFNumberRef number) {
    return number->detail == kCFNumberFloat32Type || number->detail == kCFNumberFloat64Type;
}
/// The value of any integer number.
inline int128 integer_value(CFNumberRef number) {
    if (number->detail == number_int128) return {static_cast<const wide_number*>(number)->high, number->low};
    return {number->integer < 0 ? -1 : 0, static_cast<std::uint64_t>(number->integer)};
}

/// Makes an integer of one of the types kCFNumberSInt8Type to kCFNumberSInt64Type; -1 to 12 are shared
/// constants of type kCFNumberSInt32Type unless a particular allocator is asked for. Null for want of memory,
/// as below.
CFNumberRef create_integer(CFAllocatorRef allocator, std::int64_t value,
                           CFNumberType type = kCFNumberSInt64Type);
/// Makes a number of the private 128-bit type, whatever the value.
CFNumberRef create_int128(CFAllocatorRef allocator, int128 value);
/// Makes a 64-bit real; 0.0, 1.0, NaN and the infinities are shared constants unless a particular allocator
/// is asked for.
CFNumberRef create_double(CFAllocatorRef allocator, double value);
/// Makes a 32-bit real; NaN and the infinities become 64-bit ones.
CFNumberRef create_float(CFAllocatorRef allocator, float value);

} // namespace cf

#endif
