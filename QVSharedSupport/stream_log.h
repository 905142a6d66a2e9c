#pragma once

#include "try_log.h"

#include <boost/system/error_code.hpp>

#include <fmt/format.h>

namespace QV {

/// An error code for a log line: its text, category and number. Not `what()`, which tells where in Asio it
/// arose, and with that paths of the machine that built it. The text is made only where it is written, so
/// that a log call which never throws covers the memory for it.
struct describe {
    explicit describe(const boost::system::error_code& described) noexcept : code(described) {}
    const boost::system::error_code& code;
};

/// Logs about the byte streams between processes. Never throws.
template <class... Arguments>
void log_stream(Logging::log_level level, fmt::format_string<Arguments...> format,
                Arguments&&... arguments) noexcept {
    try_log("Global.Streams", level, format, std::forward<Arguments>(arguments)...);
}

} // namespace QV

template <>
struct fmt::formatter<QV::describe> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }

    template <class Context>
    auto format(const QV::describe& error, Context& context) const {
        return fmt::format_to(context.out(), "{} [{}]", error.code.message(), error.code.to_string());
    }
};
