#pragma once

#include <CFAdapters/Type.h>

#include <concepts>

namespace CF {

/// Owns a CFBoolean, or is empty.
///
/// As a condition a wrapper says whether it holds an object: ask `value()` for the truth of it.
class Boolean : public Typed<Boolean, CFBooleanRef> {
public:
    using Typed::Typed;

    /// True or false. Takes `bool` itself, not what merely converts to it.
    template <std::same_as<bool> T>
    explicit Boolean(T value) noexcept : Typed(value ? kCFBooleanTrue : kCFBooleanFalse) {}

    /// The type identifier of booleans.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFBooleanGetTypeID(); }

    /// The value; false when empty.
    [[nodiscard]] bool value() const noexcept { return *this && CFBooleanGetValue(get()); }
};

} // namespace CF
