#pragma once

#include <QVLog/QVLog.h>

#include <boost/system/error_code.hpp>

#include <string>
#include <utility>

namespace QV {

/// An error code for a log line: its text, category and number. Not `what()`, which tells where in Asio it
/// arose, and with that paths of the machine that built it.
inline std::string describe(const boost::system::error_code& code) {
    return code.message() + " [" + code.to_string() + ']';
}

/// Logs a message about the byte streams between processes. Never throws: what cannot be logged is left out.
template <class... Arguments>
void log_stream(Logging::log_level level, fmt::format_string<Arguments...> format,
                Arguments&&... arguments) noexcept {
    try {
        static const Logging::logger log = Logging::get_logger("Global.Streams");
        log.log(level, format, std::forward<Arguments>(arguments)...);
    } catch (...) { // NOLINT(bugprone-empty-catch): logging must not become the caller's failure
    }
}

} // namespace QV
