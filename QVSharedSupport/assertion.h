#pragma once

#include <source_location>
#include <string_view>

namespace QV {

/// Throws std::invalid_argument "file:line:  function" followed by " Assertion `assertion` failed.".
///
/// Called where an internal consistency check has failed; from a function that may not throw this ends the
/// process.
[[noreturn]] void assertion_failed(std::string_view assertion, const std::source_location& where);

/// Checks that something holds which only a mistake in this library can break.
///
///     expect(data.count == 0, "data.count == 0");
inline void expect(bool holds, std::string_view assertion,
                   const std::source_location& where = std::source_location::current()) {
    if (!holds) assertion_failed(assertion, where);
}

} // namespace QV
