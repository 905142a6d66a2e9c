/// What keyed archivers and unarchivers have in common: references, and native types as objects.
///
/// Thread safety: any thread at any time. Nothing here blocks.
#pragma once

#include <QVSharedSupport/cf_conversions.h>
#include <QVSharedSupport/export.h>

#include <CFAdapters/CFAdapters.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace QV::detail {

/// The number of an object in an archive. 0 is the null object.
struct keyed_archiver_uid {
    std::uint32_t value = 0;

    friend bool operator==(const keyed_archiver_uid&, const keyed_archiver_uid&) = default;
};

/// "$null", what stands for the null object in an archive's table.
QV_EXPORT const CF::String& null_object_reference_name();
/// "root", the key of the one object that most archives hold.
QV_EXPORT const CF::String& root_object_key();

template <class T>
inline constexpr bool is_optional = false;
template <class T>
inline constexpr bool is_optional<std::optional<T>> = true;

template <class T>
inline constexpr bool is_vector = false;
template <class T>
inline constexpr bool is_vector<std::vector<T>> = true;

/// A map from strings, such as std::map or std::unordered_map.
template <class T>
concept string_map = std::same_as<typename T::key_type, std::string> && requires(T map) {
    typename T::mapped_type;
    map.emplace(std::string(), std::declval<typename T::mapped_type>());
};

/// The type of the same size and sign that has a converter: `long` is another type than those of its size.
template <std::integral T>
using converted_integer = std::conditional_t<
    std::is_signed_v<T>,
    std::conditional_t<
        sizeof(T) == 1, signed char,
        std::conditional_t<sizeof(T) == 2, short, std::conditional_t<sizeof(T) == 4, int, long long>>>,
    std::conditional_t<
        sizeof(T) == 1, unsigned char,
        std::conditional_t<sizeof(T) == 2, unsigned short,
                           std::conditional_t<sizeof(T) == 4, unsigned int, unsigned long long>>>>;

/// The string of a text. @throws std::invalid_argument "A text of a keyed archive is not UTF-8"
/// @throws std::bad_alloc
QV_EXPORT CF::String archived_text(std::string_view text);

/// The object, or std::bad_alloc if it is empty: then it could not be made.
inline CF::AutoPointer made(CF::AutoPointer object) {
    if (!object) throw std::bad_alloc();
    return object;
}

/// The object that stands for a native value; empty for an optional without a value.
/// @throws std::invalid_argument "A text of a keyed archive is not UTF-8"
/// @throws std::bad_alloc
template <class T>
CF::AutoPointer archived_object(const T& value) {
    if constexpr (std::derived_from<T, CF::Type>) {
        return value;
    } else if constexpr (is_optional<T>) {
        return value ? archived_object(*value) : CF::AutoPointer();
    } else if constexpr (std::same_as<T, bool>) {
        return made(make_cf_type_t<bool>{}(value));
    } else if constexpr (std::integral<T>) {
        return made(make_cf_type_t<converted_integer<T>>{}(static_cast<converted_integer<T>>(value)));
    } else if constexpr (std::floating_point<T>) {
        return made(make_cf_type_t<double>{}(static_cast<double>(value)));
    } else if constexpr (std::convertible_to<const T&, std::string_view>) {
        return archived_text(value);
    } else if constexpr (std::convertible_to<const T&, std::span<const std::byte>>) {
        return made(make_cf_type_t<std::span<std::byte>>{}(value));
    } else if constexpr (is_vector<T>) {
        static_assert(!is_optional<typename T::value_type>, "an array has no place for what is missing");
        std::vector<CF::AutoPointer> elements;
        elements.reserve(value.size());
        for (const typename T::value_type& element : value)
            elements.push_back(archived_object<typename T::value_type>(element));
        return made(CF::Array::from(elements));
    } else {
        static_assert(string_map<T>, "a keyed archive cannot hold a value of this type");
        static_assert(!is_optional<typename T::mapped_type>, "a dictionary has no place for what is missing");
        CF::MutableDictionary entries = CF::MutableDictionary::create();
        for (const auto& [key, element] : value)
            if (!entries.set(archived_object(key), archived_object(element))) throw std::bad_alloc();
        return CF::Dictionary(std::move(entries));
    }
}

} // namespace QV::detail
