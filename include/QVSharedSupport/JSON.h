/// JSON values, and their way from text and back.
///
///     using namespace QV::SharedSupport;
///     JsonValue value = JSON::parse(text);                              // throws "Invalid JSON"
///     JsonObject reply{{"ok", true}, {"count", 3}, {"names", JsonArray{"a", "b"}}};
///     std::string compact = JSON::to_string(reply);
///
/// A value is one of six alternatives; `which()` gives its index, `boost::get` and `boost::apply_visitor`
/// reach it, and QVSharedSupport/JSON_access.h reads a member at a path. Every number is a `double`: integers
/// above 2^53 lose precision. Objects do not keep the order of their members.
///
/// Nesting: text nested deeper than `JSON::max_depth` is refused. A program may build deeper values itself;
/// copying, comparing, writing and destroying a value takes stack for each level, and such depths are then
/// the program's own affair.
///
/// Thread safety: values are plain data, the functions have no state. Nothing here blocks.
#pragma once

#include <QVSharedSupport/export.h>

#include <boost/variant.hpp>

#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace QV::SharedSupport::JSON {

struct JsonValue;
/// A JSON object: its members by name.
using JsonObject = std::unordered_map<std::string, JsonValue>;
/// A JSON array.
using JsonArray = std::vector<JsonValue>;
/// The alternatives of a value, in the order of the index that `which()` reports.
using JsonVariant = boost::variant<JsonObject, JsonArray, double, std::string, bool, std::nullptr_t>;

/// One JSON value: object, array, number, string, bool or null.
///
/// A `boost::variant` of the six, and used as one. It is a class of its own, so that objects and arrays lie
/// in the value itself: an indirection through Boost's recursive wrapper would cost an allocation for each of
/// them, and another whenever one moves.
struct JsonValue : JsonVariant {
    /// An empty object.
    JsonValue() = default;

    // Implicit, as those of the variant are.
    JsonValue(const JsonObject& members) : JsonVariant(members) {}
    JsonValue(JsonObject&& members) noexcept : JsonVariant(std::move(members)) {}
    JsonValue(const JsonArray& elements) : JsonVariant(elements) {}
    JsonValue(JsonArray&& elements) noexcept : JsonVariant(std::move(elements)) {}
    JsonValue(double number) noexcept : JsonVariant(number) {}
    JsonValue(const std::string& text) : JsonVariant(text) {}
    JsonValue(std::string&& text) noexcept : JsonVariant(std::move(text)) {}
    JsonValue(bool truth) noexcept : JsonVariant(truth) {}
    JsonValue(std::nullptr_t null) noexcept : JsonVariant(null) {}

    /// A string; without this, text in quotes would become a bool, as pointers do.
    JsonValue(std::string_view text) : JsonVariant(std::string(text)) {}
    /// A string of the characters up to the NUL.
    JsonValue(const char* text) : JsonVariant(std::string(text)) {}
    /// The nearest `double`.
    template <std::integral T>
    requires(!std::same_as<T, bool>) JsonValue(T number)
    noexcept : JsonVariant(static_cast<double>(number)) {}
    /// No other pointer is a value.
    template <class T>
    requires(!std::same_as<T, char>) JsonValue(T*)
    = delete;

    /// Whether both hold the same alternative with equal contents; the order of members does not matter. As
    /// ever, NaN differs from itself.
    friend bool operator==(const JsonValue& one, const JsonValue& other) {
        return static_cast<const JsonVariant&>(one) == static_cast<const JsonVariant&>(other);
    }
};

/// How deep arrays and objects may lie in each other in a text: a root that is one counts as 1. Parsing,
/// copying, comparing, writing and destroying a value of that depth fit into a stack of 1 MiB with room to
/// spare.
inline constexpr std::size_t max_depth = 1024;

/// Reads one JSON value, of any kind, with white space around it.
///
/// The text ends at its first NUL character, whatever follows. Strings are taken as they come, UTF-8 or not.
/// Of members with the same name the first stays, with one exception: where the first and a later one are
/// arrays or objects, the contents of the later are added to the first, elements of an array in an object
/// under the last name that was read.
///
/// A number of up to 15 digits with an exponent of at most 22 becomes the nearest `double`; one with more may
/// miss it by some units in the last place (of 22,000 tried, by 1 with up to 17 digits, by 10 with any). A
/// number too large for a `double` is refused, and so may be one that misses the largest by that much.
/// @throws std::invalid_argument "Invalid JSON" when the text is anything else than one value, or is nested
///         deeper than `max_depth`; "Can only append to objects and arrays" when a later member of the same
///         name has contents that would go into a value which is no array or object.
/// @throws std::bad_alloc
[[nodiscard]] QV_EXPORT JsonValue parse(const std::string& text);

/// Writes a value without any white space.
///
/// A number that is an integer of 64 bits is written as one: 3.0 as 3, -0.0 as 0. Any other is written with
/// at most 17 digits that name this `double` and no other, nearly always the fewest. NaN and the infinities
/// have no JSON form and are left out: what surrounds them stays, and the text is then not valid JSON.
/// Strings are not checked to be UTF-8.
/// @throws std::bad_alloc
[[nodiscard]] QV_EXPORT std::string to_string(const JsonValue& value);

/// The same with every member and element on a line of its own, indented by 4 spaces for each level. There is
/// no line end after the last line.
/// @throws std::bad_alloc
[[nodiscard]] QV_EXPORT std::string to_pretty_string(const JsonValue& value);

/// Writes the compact form to a stream, for logs and tests.
QV_EXPORT std::ostream& operator<<(std::ostream& stream, const JsonValue& value);

} // namespace QV::SharedSupport::JSON

namespace QV {

using SharedSupport::JSON::JsonArray;
using SharedSupport::JSON::JsonObject;
using SharedSupport::JSON::JsonValue;

/// Makes the alternative of `JsonValue` that stands for a `T`; see the specialisations.
///
///     JsonObject params{{"ecid", QV::make_json_type_t<unsigned long long>{}(ecid)}};
template <class T>
struct make_json_type_t {
    static_assert(!sizeof(T*), "QV::make_json_type_t has no conversion from this type to a JSON value");
};

/// The same number.
template <>
struct make_json_type_t<signed char> {
    QV_EXPORT double operator()(signed char value) const;
};
/// The same number.
template <>
struct make_json_type_t<unsigned char> {
    QV_EXPORT double operator()(unsigned char value) const;
};
/// The same number.
template <>
struct make_json_type_t<short> {
    QV_EXPORT double operator()(short value) const;
};
/// The same number.
template <>
struct make_json_type_t<unsigned short> {
    QV_EXPORT double operator()(unsigned short value) const;
};
/// The same number.
template <>
struct make_json_type_t<int> {
    QV_EXPORT double operator()(int value) const;
};
/// The same number.
template <>
struct make_json_type_t<unsigned int> {
    QV_EXPORT double operator()(unsigned int value) const;
};
/// The nearest `double`.
template <>
struct make_json_type_t<long long> {
    QV_EXPORT double operator()(long long value) const;
};
/// The nearest `double`.
template <>
struct make_json_type_t<unsigned long long> {
    QV_EXPORT double operator()(unsigned long long value) const;
};
/// The same number.
template <>
struct make_json_type_t<double> {
    QV_EXPORT double operator()(double value) const;
};
/// The same.
template <>
struct make_json_type_t<bool> {
    QV_EXPORT bool operator()(bool value) const;
};
/// The same text, moved.
template <>
struct make_json_type_t<std::string> {
    QV_EXPORT std::string operator()(std::string value) const;
};
/// A copy of the text.
template <>
struct make_json_type_t<std::string_view> {
    QV_EXPORT std::string operator()(std::string_view value) const;
};
/// The same object, moved.
template <>
struct make_json_type_t<JsonObject> {
    QV_EXPORT JsonObject operator()(JsonObject value) const;
};
/// The same value, moved.
template <>
struct make_json_type_t<JsonValue> {
    QV_EXPORT JsonValue operator()(JsonValue value) const;
};
/// There is nothing to convert: an array is a `JsonArray` already.
template <>
struct make_json_type_t<JsonArray> {};

} // namespace QV
