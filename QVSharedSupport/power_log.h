#pragma once

#include "try_log.h"

namespace QV::SharedSupport::PowerEvents {

/// Logs about power. Never throws.
template <class... Arguments>
void log_power(Logging::log_level level, fmt::format_string<Arguments...> format,
               Arguments&&... arguments) noexcept {
    try_log("System", level, format, std::forward<Arguments>(arguments)...);
}

} // namespace QV::SharedSupport::PowerEvents
