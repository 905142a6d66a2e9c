// Numbers, booleans and null.
#include "decimal.h"
#include "number_storage.h"
#include "string_storage.h"

#include <CoreFoundation/CFString.h>

#include <array>
#include <bit>
#include <cmath>
#include <compare>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

struct __CFBoolean : cf::object {
}; // NOLINT(bugprone-reserved-identifier): an opaque type of the public interface
struct __CFNull : cf::object {}; // NOLINT(bugprone-reserved-identifier): as above

namespace {

using cf::int128;
using cf::object;

constexpr __CFNumber constant_integer(std::int64_t value) {
    return {{{cf::immortal}, cf::type::number, false, kCFNumberSInt32Type, nullptr}, {.integer = value}};
}

constexpr __CFNumber constant_real(double value) {
    return {{{cf::immortal}, cf::type::number, false, kCFNumberFloat64Type, nullptr}, {.real = value}};
}

constexpr std::int64_t first_small = -1;
constexpr std::int64_t last_small = 12;
constinit const std::array<__CFNumber, 14> small_integers = {
    constant_integer(-1), constant_integer(0), constant_integer(1), constant_integer(2),
    constant_integer(3),  constant_integer(4), constant_integer(5), constant_integer(6),
    constant_integer(7),  constant_integer(8), constant_integer(9), constant_integer(10),
    constant_integer(11), constant_integer(12)};
constinit const __CFNumber zero = constant_real(0.0);
constinit const __CFNumber one = constant_real(1.0);
constinit const __CFNumber not_a_number = constant_real(std::numeric_limits<double>::quiet_NaN());
constinit const __CFNumber positive_infinity = constant_real(std::numeric_limits<double>::infinity());
constinit const __CFNumber negative_infinity = constant_real(-std::numeric_limits<double>::infinity());

constinit const __CFBoolean true_value = {{{cf::immortal}, cf::type::boolean, false, 0, nullptr}};
constinit const __CFBoolean false_value = {{{cf::immortal}, cf::type::boolean, false, 0, nullptr}};
constinit const __CFNull null_value = {{{cf::immortal}, cf::type::null, false, 0, nullptr}};

} // namespace

extern "C" {
constinit const CFBooleanRef kCFBooleanTrue = &true_value;
constinit const CFBooleanRef kCFBooleanFalse = &false_value;
constinit const CFNullRef kCFNull = &null_value;
constinit const CFNumberRef kCFNumberPositiveInfinity = &positive_infinity;
constinit const CFNumberRef kCFNumberNegativeInfinity = &negative_infinity;
constinit const CFNumberRef kCFNumberNaN = &not_a_number;
}

namespace {

// The stored type of a value of some type: one of the first six, or number_int128. 0 for no type.
std::uint16_t canonical(CFNumberType type) {
    const auto integer = [](std::size_t size) -> std::uint16_t {
        return size == 8 ? kCFNumberSInt64Type : kCFNumberSInt32Type;
    };
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberSInt16Type:
    case kCFNumberSInt32Type:
    case kCFNumberSInt64Type:
    case kCFNumberFloat32Type:
    case kCFNumberFloat64Type:
    case cf::number_int128:
        return static_cast<std::uint16_t>(type);
    case kCFNumberCharType:
        return kCFNumberSInt8Type;
    case kCFNumberShortType:
        return kCFNumberSInt16Type;
    case kCFNumberIntType:
        return kCFNumberSInt32Type;
    case kCFNumberLongType:
        return integer(sizeof(long));
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
        return kCFNumberSInt64Type;
    case kCFNumberFloatType:
        return kCFNumberFloat32Type;
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
        return kCFNumberFloat64Type;
    default:
        return 0;
    }
}

template <typename T>
T load(const void* from) {
    T value{};
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <typename T>
void store(void* to, T value) {
    if (to != nullptr) std::memcpy(to, &value, sizeof value);
}

std::strong_ordering compare(int128 a, int128 b) {
    return a.high != b.high ? a.high <=> b.high : a.low <=> b.low;
}

int128 negated(int128 value) {
    const std::uint64_t low = ~value.low + 1;
    const std::uint64_t high = ~static_cast<std::uint64_t>(value.high) + (low == 0 ? 1U : 0U);
    return {static_cast<std::int64_t>(high), low};
}

// The magnitude of a value as two unsigned halves.
struct magnitude {
    std::uint64_t high;
    std::uint64_t low;
};
magnitude magnitude_of(int128 value) {
    const int128 positive = value.high < 0 ? negated(value) : value;
    return {static_cast<std::uint64_t>(positive.high), positive.low};
}

// The nearest double, ties to even.
double to_double(int128 value) {
    const auto [high, low] = magnitude_of(value);
    double nearest = 0;
    if (high == 0) {
        nearest = static_cast<double>(low);
    } else {
        // Sixty-four leading bits, the last of which also stands for everything below it, round as the whole
        // would.
        const auto shift = 64U - static_cast<unsigned>(std::countl_zero(high)); // not 0, as `high` is not
        const std::uint64_t below = shift == 64 ? low : low & ((std::uint64_t{1} << shift) - 1);
        // NOLINTNEXTLINE(clang-analyzer-core.BitwiseShift)
        std::uint64_t leading = shift == 64 ? high : high << (64U - shift) | low >> shift;
        if (below != 0) leading |= 1U;
        nearest = std::ldexp(static_cast<double>(leading), static_cast<int>(shift));
    }
    return value.high < 0 ? -nearest : nearest;
}

constexpr int128 largest = {std::numeric_limits<std::int64_t>::max(),
                            std::numeric_limits<std::uint64_t>::max()};
constexpr int128 smallest = {std::numeric_limits<std::int64_t>::min(), 0};

// The integer part of a real; the nearest integer there is when it is out of range, 0 for NaN.
int128 truncated(double value) {
    if (std::isnan(value)) return {0, 0};
    const double whole = std::trunc(value);
    if (whole >= 0x1p127) return largest;
    if (whole < -0x1p127) return smallest;
    const double positive = std::fabs(whole);
    const double high = std::floor(positive * 0x1p-64);
    const double low = positive - high * 0x1p64;
    const int128 result = {static_cast<std::int64_t>(high), static_cast<std::uint64_t>(low)};
    return whole < 0 ? negated(result) : result;
}

// Where a real lies among the integers: the integer part, and whether something is left of it.
std::partial_ordering compare(int128 integer, double real) {
    if (real >= 0x1p127) return std::partial_ordering::less;
    if (real < -0x1p127) return std::partial_ordering::greater;
    const std::strong_ordering whole = compare(integer, truncated(real));
    if (whole != std::strong_ordering::equal) return whole;
    const double left = real - std::trunc(real);
    return left > 0   ? std::partial_ordering::less
           : left < 0 ? std::partial_ordering::greater
                      : std::partial_ordering::equivalent;
}

// -1 for negative reals, among them -0.0; 1 for zero and positive ones.
int sign_of(double value) {
    return std::signbit(value) ? -1 : 1;
}

CFComparisonResult to_result(std::partial_ordering order) {
    return order < 0 ? kCFCompareLessThan : order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

// NaN stands between the negative numbers and zero, -0.0 just below zero.
CFComparisonResult compare_reals(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        if (std::isnan(a) && std::isnan(b)) return kCFCompareEqualTo;
        const int other = sign_of(std::isnan(a) ? b : a);
        return std::isnan(a) ? -other : other;
    }
    if (a == 0 && b == 0) return to_result(sign_of(a) <=> sign_of(b));
    return to_result(a <=> b);
}

CFComparisonResult compare_with_real(int128 a, double b) {
    if (std::isnan(b)) return kCFCompareGreaterThan; // Integers count as positive here, whatever their sign.
    if (b == 0 && std::signbit(b) && a.high == 0 && a.low == 0) return kCFCompareGreaterThan;
    return to_result(compare(a, b));
}

CFComparisonResult compare_numbers(CFNumberRef a, CFNumberRef b) {
    if (a == b) return kCFCompareEqualTo;
    const bool a_is_real = cf::is_real(a);
    const bool b_is_real = cf::is_real(b);
    if (a_is_real && b_is_real) return compare_reals(a->real, b->real);
    if (b_is_real) return compare_with_real(cf::integer_value(a), b->real);
    if (a_is_real) return -compare_with_real(cf::integer_value(b), a->real);
    return to_result(compare(cf::integer_value(a), cf::integer_value(b)));
}

bool equal_numbers(const object& a, const object& b) {
    return compare_numbers(static_cast<const __CFNumber*>(&a), static_cast<const __CFNumber*>(&b)) ==
           kCFCompareEqualTo;
}

// Equal numbers of different types must have equal hashes, so that integers are hashed by magnitude and reals
// as the integer they are, if they are one.
CFHashCode hash_number(const object& self) {
    const auto* number = static_cast<const __CFNumber*>(&self);
    constexpr std::uint64_t factor = 2654435761U;
    if (cf::is_real(number)) {
        const double real = number->real;
        const bool is_integer = std::trunc(real) == real && std::fabs(real) < 0x1p127;
        if (!is_integer) return std::isnan(real) ? factor : std::bit_cast<std::uint64_t>(real) * factor;
        const auto [high, low] = magnitude_of(truncated(real));
        return (high + low) * factor;
    }
    const auto [high, low] = magnitude_of(cf::integer_value(number));
    return (high + low) * factor;
}

std::string decimal(int128 value) {
    auto [high, low] = magnitude_of(value);
    std::string digits;
    do {
        // Long division by ten, thirty-two bits at a time.
        std::uint64_t remainder = 0;
        for (std::uint64_t* half : {&high, &low}) {
            const std::uint64_t upper = remainder << 32U | *half >> 32U;
            const std::uint64_t lower = upper % 10 << 32U | (*half & 0xFFFFFFFFU);
            *half = (upper / 10) << 32U | lower / 10;
            remainder = lower % 10;
        }
        digits.insert(digits.begin(), static_cast<char>('0' + remainder));
    } while (high != 0 || low != 0);
    if (value.high < 0) digits.insert(digits.begin(), '-');
    return digits;
}

CFStringRef copy_formatted_number(const object& self) {
    const auto* number = static_cast<const __CFNumber*>(&self);
    try {
        return cf::create_ascii_string(nullptr, cf::is_real(number) ? cf::format_decimal(number->real)
                                                                    : decimal(cf::integer_value(number)));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CFStringRef describe_number(const object& self) {
    const auto* number = static_cast<const __CFNumber*>(&self);
    const cf::owned<CFStringRef> heading(cf::copy_heading(self, "CFNumber"));
    if (!heading) return nullptr;
    try {
        std::string value;
        const char* type = "kCFNumberSInt128Type";
        if (cf::is_real(number)) {
            const bool is_single = number->detail == kCFNumberFloat32Type;
            type = is_single ? "kCFNumberFloat32Type" : "kCFNumberFloat64Type";
            if (number->real == 0) {
                value = std::signbit(number->real) ? "-0.0" : "+0.0";
            } else if (!std::isfinite(number->real)) {
                value = cf::format_decimal(number->real);
            } else {
                std::array<char, 400> text{};
                std::snprintf(text.data(), text.size(), "%+.*f", is_single ? 10 : 20, number->real);
                value = text.data();
            }
        } else {
            constexpr std::array names = {"", "kCFNumberSInt8Type", "kCFNumberSInt16Type",
                                          "kCFNumberSInt32Type", "kCFNumberSInt64Type"};
            if (number->detail < names.size()) type = names[number->detail];
            value = decimal(cf::integer_value(number));
            if (!value.starts_with('-')) value.insert(value.begin(), '+');
        }
        return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@{value = %s, type = %s}"), heading.get(),
                                        value.c_str(), type);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CFStringRef describe_boolean(const object& self) {
    const cf::owned<CFStringRef> heading(cf::copy_heading(self, "CFBoolean"));
    if (!heading) return nullptr;
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@{value = %s}"), heading.get(),
                                    &self == kCFBooleanTrue ? "true" : "false");
}

CFStringRef copy_formatted_boolean(const object& self) {
    return &self == kCFBooleanTrue ? CFSTR("true") : CFSTR("false");
}

CFHashCode hash_boolean(const object& self) {
    return &self == kCFBooleanTrue ? hash_number(small_integers[2]) : 0;
}

CFStringRef copy_formatted_null(const object&) {
    return CFSTR("null");
}

// Stores an integer's low bits and says whether they are all of it: also of one that would fit without a sign
// where that is `unsigned_too`.
template <typename T>
bool get_integer(int128 value, bool unsigned_too, void* to) {
    store(to, static_cast<T>(static_cast<std::make_unsigned_t<T>>(value.low)));
    const int128 low = {std::numeric_limits<T>::min() < 0 ? -1 : 0,
                        static_cast<std::uint64_t>(std::numeric_limits<T>::min())};
    const std::uint64_t high =
        unsigned_too ? static_cast<std::uint64_t>(std::numeric_limits<std::make_unsigned_t<T>>::max())
                     : static_cast<std::uint64_t>(std::numeric_limits<T>::max());
    return compare(value, low) >= 0 && compare(value, {0, high}) <= 0;
}

// Stores the integer nearest to a real's integer part and says whether it is the real.
template <typename T>
bool get_truncated(double value, void* to) {
    const int128 whole = truncated(value);
    T result = static_cast<T>(whole.low);
    if (compare(whole, {-1, static_cast<std::uint64_t>(std::numeric_limits<T>::min())}) < 0)
        result = std::numeric_limits<T>::min();
    else if (compare(whole, {0, static_cast<std::uint64_t>(std::numeric_limits<T>::max())}) > 0)
        result = std::numeric_limits<T>::max();
    store(to, result);
    return static_cast<double>(result) == value && value < 0x1p63;
}

bool get_from_real(double value, std::uint16_t type, void* to) {
    switch (type) {
    case kCFNumberSInt8Type:
        return get_truncated<std::int8_t>(value, to);
    case kCFNumberSInt16Type:
        return get_truncated<std::int16_t>(value, to);
    case kCFNumberSInt32Type:
        return get_truncated<std::int32_t>(value, to);
    case kCFNumberSInt64Type:
        return get_truncated<std::int64_t>(value, to);
    case kCFNumberFloat32Type: {
        // A value beyond the largest float converts to infinity; that conversion is only defined when spelled
        // out.
        const bool fits = std::fabs(value) <= static_cast<double>(std::numeric_limits<float>::max()) ||
                          !std::isfinite(value);
        const float single =
            fits ? static_cast<float>(value)
                 : std::copysign(std::numeric_limits<float>::infinity(), static_cast<float>(sign_of(value)));
        store(to, single);
        return static_cast<double>(single) == value;
    }
    case kCFNumberFloat64Type:
        store(to, value);
        return true;
    default: {
        const int128 whole = truncated(value);
        store(to, whole);
        return to_double(whole) == value;
    }
    }
}

bool get_from_integer(int128 value, std::uint16_t type, void* to) {
    switch (type) {
    case kCFNumberSInt8Type:
        return get_integer<std::int8_t>(value, true, to);
    case kCFNumberSInt16Type:
        return get_integer<std::int16_t>(value, true, to);
    case kCFNumberSInt32Type:
        return get_integer<std::int32_t>(value, false, to);
    case kCFNumberSInt64Type:
        return get_integer<std::int64_t>(value, false, to);
    case kCFNumberFloat32Type: {
        const auto single = static_cast<float>(to_double(value));
        store(to, single);
        return compare(value, static_cast<double>(single)) == std::partial_ordering::equivalent;
    }
    case kCFNumberFloat64Type: {
        const double real = to_double(value);
        store(to, real);
        return compare(value, real) == std::partial_ordering::equivalent;
    }
    default:
        store(to, value);
        return true;
    }
}

// Of a number of the private type the low 64 bits are read, as the unsigned 64-bit integer that it mostly is;
// that counts as all of it.
bool get_from_wide(int128 value, std::uint16_t type, void* to) {
    const auto low = static_cast<std::int64_t>(value.low);
    const int128 narrowed = {low < 0 ? -1 : 0, value.low};
    switch (type) {
    case kCFNumberSInt8Type:
        return get_integer<std::int8_t>(narrowed, false, to);
    case kCFNumberSInt16Type:
        return get_integer<std::int16_t>(narrowed, false, to);
    case kCFNumberSInt32Type:
        return get_integer<std::int32_t>(narrowed, false, to);
    case kCFNumberSInt64Type:
        return get_integer<std::int64_t>(narrowed, false, to);
    default:
        return get_from_integer(value, type, to);
    }
}

bool uses_constants(CFAllocatorRef allocator) {
    return cf::resolve(allocator) == nullptr;
}

} // namespace

namespace cf {

constinit const type_info number_type_info = {
    "CFNumber", false, nullptr, equal_numbers, hash_number, describe_number, copy_formatted_number};
constinit const type_info boolean_type_info = {
    "CFBoolean", false, nullptr, nullptr, hash_boolean, describe_boolean, copy_formatted_boolean};
constinit const type_info null_type_info = {"CFNull",           false, nullptr, nullptr, nullptr, nullptr,
                                            copy_formatted_null};

CFNumberRef create_integer(CFAllocatorRef allocator, std::int64_t value, CFNumberType type) {
    if (value >= first_small && value <= last_small && uses_constants(allocator))
        return &small_integers[static_cast<std::size_t>(value - first_small)];
    auto* made = make<__CFNumber>(allocator, type::number);
    if (made == nullptr) return nullptr;
    made->detail = static_cast<std::uint16_t>(type);
    made->integer = value;
    return made;
}

CFNumberRef create_int128(CFAllocatorRef allocator, int128 value) {
    auto* made = make<wide_number>(allocator, type::number);
    if (made == nullptr) return nullptr;
    made->detail = number_int128;
    made->low = value.low;
    made->high = value.high;
    return made;
}

CFNumberRef create_double(CFAllocatorRef allocator, double value) {
    if (uses_constants(allocator)) {
        if (std::isnan(value)) return &not_a_number;
        if (std::isinf(value)) return value > 0 ? &positive_infinity : &negative_infinity;
        if (value == 0 && !std::signbit(value)) return &zero;
        if (value == 1) return &one;
    }
    auto* made = make<__CFNumber>(allocator, type::number);
    if (made == nullptr) return nullptr;
    made->detail = kCFNumberFloat64Type;
    made->real = value;
    return made;
}

CFNumberRef create_float(CFAllocatorRef allocator, float value) {
    if (!std::isfinite(value)) return create_double(allocator, static_cast<double>(value));
    auto* made = make<__CFNumber>(allocator, type::number);
    if (made == nullptr) return nullptr;
    made->detail = kCFNumberFloat32Type;
    made->real = static_cast<double>(value);
    return made;
}

} // namespace cf

CFTypeID CFNumberGetTypeID() {
    return static_cast<CFTypeID>(cf::type::number);
}

CFTypeID CFBooleanGetTypeID() {
    return static_cast<CFTypeID>(cf::type::boolean);
}

CFTypeID CFNullGetTypeID() {
    return static_cast<CFTypeID>(cf::type::null);
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    return boolean == kCFBooleanTrue;
}

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void* valuePtr) {
    if (valuePtr == nullptr) return nullptr;
    switch (const std::uint16_t type = canonical(theType)) {
    case kCFNumberSInt8Type:
        return cf::create_integer(allocator, load<std::int8_t>(valuePtr), type);
    case kCFNumberSInt16Type:
        return cf::create_integer(allocator, load<std::int16_t>(valuePtr), type);
    case kCFNumberSInt32Type:
        return cf::create_integer(allocator, load<std::int32_t>(valuePtr), type);
    case kCFNumberSInt64Type:
        return cf::create_integer(allocator, load<std::int64_t>(valuePtr), type);
    case kCFNumberFloat32Type:
        return cf::create_float(allocator, load<float>(valuePtr));
    case kCFNumberFloat64Type:
        return cf::create_double(allocator, load<double>(valuePtr));
    case cf::number_int128:
        return cf::create_int128(allocator, load<int128>(valuePtr));
    default:
        return nullptr;
    }
}

CFNumberType CFNumberGetType(CFNumberRef number) {
    if (!cf::is(number, cf::type::number)) return 0;
    if (number->detail == cf::number_int128) return kCFNumberSInt64Type;
    return number->detail;
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
    if (!cf::is(number, cf::type::number)) return 0;
    constexpr std::array<CFIndex, 7> sizes = {0, 1, 2, 4, 8, 4, 8};
    return number->detail == cf::number_int128 ? 8 : sizes[number->detail];
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
    return cf::is(number, cf::type::number) && cf::is_real(number);
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
    const std::uint16_t type = canonical(theType);
    if (!cf::is(number, cf::type::number) || type == 0) return false;
    if (cf::is_real(number)) return get_from_real(number->real, type, valuePtr);
    const int128 value = cf::integer_value(number);
    return number->detail == cf::number_int128 ? get_from_wide(value, type, valuePtr)
                                               : get_from_integer(value, type, valuePtr);
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void*) {
    const bool first_is = cf::is(number, cf::type::number);
    const bool second_is = cf::is(otherNumber, cf::type::number);
    if (!first_is || !second_is) return CFIndex{first_is} - CFIndex{second_is};
    return compare_numbers(number, otherNumber);
}
