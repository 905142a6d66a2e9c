#pragma once

#include <CFAdapters/Array.h>
#include <CFAdapters/Boolean.h>
#include <CFAdapters/Data.h>
#include <CFAdapters/Date.h>
#include <CFAdapters/Dictionary.h>
#include <CFAdapters/Error.h>
#include <CFAdapters/Number.h>
#include <CFAdapters/String.h>
#include <CFAdapters/Type.h>

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace CF::detail {

/// Formats a wrapper as its description, with the width and alignment that texts take.
struct formatter : fmt::formatter<std::string_view> {
    template <class Wrapper, class Context>
    auto format(const Wrapper& wrapper, Context& context) const {
        const std::string text = wrapper.description();
        return fmt::formatter<std::string_view>::format(text, context);
    }
};

} // namespace CF::detail

// Named one by one, so that they win over what {fmt} knows about ranges and exceptions.
template <>
struct fmt::formatter<CF::Type> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::AutoPointer> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::String> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::Number> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::Boolean> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::Data> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::Date> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::Array> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::MutableArray> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::Dictionary> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::MutableDictionary> : CF::detail::formatter {};
template <>
struct fmt::formatter<CF::Error> : CF::detail::formatter {};
