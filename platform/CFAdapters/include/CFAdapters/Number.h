#pragma once

#include <CFAdapters/Type.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

namespace CF {

namespace detail {

/// The CoreFoundation type that holds a C++ type bit for bit. By width: `long` is not the same everywhere.
template <class T>
constexpr CFNumberType number_type() {
    if constexpr (std::is_same_v<T, float>)
        return kCFNumberFloatType;
    else if constexpr (std::is_same_v<T, double>)
        return kCFNumberDoubleType;
    else if constexpr (sizeof(T) == sizeof(signed char))
        return kCFNumberCharType;
    else if constexpr (sizeof(T) == sizeof(short))
        return kCFNumberShortType;
    else if constexpr (sizeof(T) == sizeof(int))
        return kCFNumberIntType;
    else
        return kCFNumberLongLongType;
}

} // namespace detail

/// The types a `CF::Number` is made from and read as. CoreFoundation has no unsigned numbers: an unsigned
/// value is to be converted on purpose.
template <class T>
concept number_value = std::same_as<T, signed char> || std::same_as<T, short> || std::same_as<T, int> ||
    std::same_as<T, long> || std::same_as<T, long long> || std::same_as<T, float> || std::same_as<T, double>;

/// Owns a CFNumber, or is empty.
class Number : public Typed<Number, CFNumberRef> {
public:
    using Typed::Typed;

    /// A number stored with the width of `T`.
    template <number_value T>
    explicit Number(T value) noexcept
        : Typed(adopted(CFNumberCreate(kCFAllocatorDefault, detail::number_type<T>(), &value))) {}

    /// The type identifier of numbers.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFNumberGetTypeID(); }

    /// The value as a `T`, converted as CFNumberGetValue does, with loss if need be; 0 when empty.
    template <number_value T>
    [[nodiscard]] T value() const noexcept {
        T result{};
        if (*this) CFNumberGetValue(get(), detail::number_type<T>(), &result);
        return result;
    }
    /// The value as an integer if it is one and lies in the range of `T`; nothing when empty.
    template <std::integral T>
    requires(!std::same_as<T, bool>) [[nodiscard]] std::optional<T> exact() const noexcept {
        // By way of the widest type: a read as 8 or 16 bits also lets values through that fit only unsigned.
        long long wide = 0;
        if (!*this || !CFNumberGetValue(get(), kCFNumberLongLongType, &wide)) return std::nullopt;
        const bool low = wide < 0 && (!std::is_signed_v<T> ||
                                      wide < static_cast<long long>(std::numeric_limits<T>::min()));
        const bool high = wide > 0 && static_cast<unsigned long long>(wide) >
                                          static_cast<unsigned long long>(std::numeric_limits<T>::max());
        return low || high ? std::nullopt : std::optional<T>(static_cast<T>(wide));
    }
    /// Whether the number is stored as a real; false when empty.
    [[nodiscard]] bool is_real() const noexcept { return *this && CFNumberIsFloatType(get()); }
};

} // namespace CF
