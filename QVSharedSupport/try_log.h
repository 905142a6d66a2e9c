#pragma once

#include <QVLog/QVLog.h>

#include <string_view>
#include <utility>

namespace QV {

/// Logs to the logger of that name. Never throws: without the memory to make the logger the message is left
/// out, as logging must not become the caller's failure.
template <class... Arguments>
void try_log(std::string_view name, Logging::log_level level, fmt::format_string<Arguments...> format,
             Arguments&&... arguments) noexcept {
    try {
        Logging::get_logger(name).log(level, format, std::forward<Arguments>(arguments)...);
    } catch (...) { // NOLINT(bugprone-empty-catch): see above
    }
}

} // namespace QV
