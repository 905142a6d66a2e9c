#pragma once

#include "try_log.h"

#include <boost/system/error_code.hpp>

#include <string>

namespace QV {

/// An error code for a log line: its text, category and number. Not `what()`, which tells where in Asio it
/// arose, and with that paths of the machine that built it.
inline std::string describe(const boost::system::error_code& code) {
    return code.message() + " [" + code.to_string() + ']';
}

/// Logs about the byte streams between processes. Never throws.
template <class... Arguments>
void log_stream(Logging::log_level level, fmt::format_string<Arguments...> format,
                Arguments&&... arguments) noexcept {
    try_log("Global.Streams", level, format, std::forward<Arguments>(arguments)...);
}

} // namespace QV
