/// Reading JSON values at a path: member names and element indices, one after another.
///
///     auto x = JSON::get<double>(message, "params", 0, "x");     // std::optional<double>
///     auto name = JSON::get<std::string>(message, "params", "name").value_or("unnamed");
///     if (const JsonValue* data = JSON::find(message, "error", "data")) ...
///
/// A path leads nowhere when a value on the way is missing or of another kind; that is no error but the
/// answer.
///
/// Thread safety: nothing is kept; as safe as reading the value. Nothing here blocks.
#pragma once

#include <QVSharedSupport/JSON.h>

#include <concepts>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace QV::SharedSupport::JSON {

/// The member `name` of an object; null if there is none, or `value` is no object. Valid as long as the
/// object is and has the member.
[[nodiscard]] QV_EXPORT const JsonValue* find_member(const JsonValue& value, std::string_view name);
/// The element at `index` of an array; null if it has no such element, or `value` is no array. Valid until
/// the array changes.
[[nodiscard]] QV_EXPORT const JsonValue* find_element(const JsonValue& value, std::size_t index) noexcept;

/// The value at a path; null if it leads nowhere. With an empty path, the value itself.
[[nodiscard]] inline const JsonValue* find(const JsonValue& value) noexcept {
    return &value;
}
template <class Step, class... Steps>
[[nodiscard]] const JsonValue* find(const JsonValue& value, const Step& step, const Steps&... rest) {
    const JsonValue* next = nullptr;
    if constexpr (std::integral<Step>) {
        if (std::in_range<std::size_t>(step)) next = find_element(value, static_cast<std::size_t>(step));
    } else {
        next = find_member(value, std::string_view(step));
    }
    return next == nullptr ? nullptr : find(*next, rest...);
}

/// Whether the path leads to a value; null is one.
template <class... Steps>
[[nodiscard]] bool contains(const JsonValue& value, const Steps&... path) {
    return find(value, path...) != nullptr;
}

/// A copy of the `T` at the path; nothing if the path leads nowhere or to a value of another kind. `T` is one
/// of the six alternatives of a value.
template <class T, class... Steps>
[[nodiscard]] std::optional<T> get(const JsonValue& value, const Steps&... path) {
    const JsonValue* const found = find(value, path...);
    const T* const alternative = found == nullptr ? nullptr : boost::get<T>(found);
    return alternative == nullptr ? std::nullopt : std::optional<T>(*alternative);
}

/// Throws std::out_of_range "No such JSON value".
[[noreturn]] QV_EXPORT void no_such_value();

/// The value at the path.
/// @throws std::out_of_range "No such JSON value" if the path leads nowhere.
template <class... Steps>
[[nodiscard]] const JsonValue& at(const JsonValue& value, const Steps&... path) {
    const JsonValue* const found = find(value, path...);
    if (found == nullptr) no_such_value();
    return *found;
}

} // namespace QV::SharedSupport::JSON
