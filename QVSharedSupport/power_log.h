#pragma once

#include <QVLog/QVLog.h>

#include <utility>

namespace QV::SharedSupport::PowerEvents {

/// Logs about power to "System". Never throws: what cannot be logged is left out.
template <class... Arguments>
void log_power(Logging::log_level level, fmt::format_string<Arguments...> format,
               Arguments&&... arguments) noexcept {
    try {
        static const Logging::logger log = Logging::get_logger("System");
        log.log(level, format, std::forward<Arguments>(arguments)...);
    } catch (...) { // NOLINT(bugprone-empty-catch): logging must not become the caller's failure
    }
}

} // namespace QV::SharedSupport::PowerEvents
