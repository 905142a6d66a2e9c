#pragma once

#include <QVLog/export.h>
#include <QVLog/log_level.h>

#include <fmt/format.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace QV::Logging::inline v2 {

namespace detail {

/// The part of a logger that a call site reads: messages below the threshold are not even formatted.
struct logger_gate {
    std::atomic<int> threshold;
};

struct logger_state;
struct logger_access; // lets the sources see inside a logger

} // namespace detail

class logger;

/// The logger of that name: the same one for every module of the process, made on first use.
///
/// Names are a few fixed texts, one for an area ("System", "Filesystem"): a logger lives as long as the
/// process, so what this returns, and any copy, is valid for ever, static destruction included. Thread
/// safety: any thread. @throws std::bad_alloc
QVLOG_EXPORT logger get_logger(std::string_view name);

/// Formats and delivers a message; what `logger::log` calls once it knows that the level is enabled.
QVLOG_EXPORT void log_fmt_impl(const logger& log, log_level level, fmt::string_view format,
                               fmt::format_args arguments) noexcept;

/// Delivers `text` as it stands, if the level is enabled. Same guarantees as `logger::log`.
QVLOG_EXPORT void log_str(const logger& log, log_level level, std::string_view text) noexcept;

/// A named source of messages. A small value that refers to the process-wide logger of its name: copy it
/// freely.
///
///     const auto log = QV::Logging::get_logger("System");
///     log.log(log_level::error, "{} failed for module '{}'", "FindResource", module_name);
///
/// A message passes if its level is at least the logger's own, or, while that is not set, the global one. The
/// global level starts at `error`, so that a program that never heard of this library sees only failures.
///
/// Logging never throws: what goes wrong on the way (a formatter or a sink that throws, no memory) loses that
/// message for the sinks concerned, is counted in `failure_count()`, and the first time is told on standard
/// error. `GetLastError()` and `errno` are left as they were.
///
/// Thread safety: any thread, any time; no lock is held while arguments are formatted or sinks are called.
/// Blocking: as long as the sinks take. A disabled message costs one load and a branch.
class logger {
public:
    /// Logs `format` filled with `arguments`. The format is checked at compile time. Text is UTF-8.
    template <class... Arguments>
    void log(log_level level, fmt::format_string<Arguments...> format,
             Arguments&&... arguments) const noexcept {
        if (is_enabled(level)) log_fmt_impl(*this, level, format, fmt::make_format_args(arguments...));
    }

    /// Whether a message of that level would be delivered; to save the work of preparing one.
    bool is_enabled(log_level level) const noexcept {
        return static_cast<int>(level) >= gate_->threshold.load(std::memory_order_relaxed);
    }

    /// The name; valid for ever.
    QVLOG_EXPORT const std::string& name() const noexcept;
    /// The level that a message needs to pass: the logger's own, otherwise the global one.
    QVLOG_EXPORT log_level level() const noexcept;
    /// Gives the logger a level of its own, for every holder of it.
    QVLOG_EXPORT void set_level(log_level level) const;
    /// Lets the logger follow the global level again.
    QVLOG_EXPORT void reset_level() const;

private:
    friend detail::logger_access;

    logger(const detail::logger_gate& gate, detail::logger_state& state) noexcept
        : gate_(&gate), state_(&state) {}

    const detail::logger_gate* gate_;
    detail::logger_state* state_;
};

/// The level of all loggers without one of their own.
QVLOG_EXPORT log_level global_level();
/// Sets it. Threads that are logging at that moment may still use the one before.
QVLOG_EXPORT void set_global_level(log_level level);

/// How many messages could not be formatted, or not be delivered to a sink, since the process started.
QVLOG_EXPORT std::uint64_t failure_count() noexcept;

/// The name under which the calling thread appears in log lines, UTF-8; empty for its number alone.
///
/// Names longer than 127 bytes are cut, at the end of a character. It names nothing but log lines: debuggers
/// and other tools show the name that the system has of the thread.
QVLOG_EXPORT void set_current_thread_name(std::string_view name) noexcept;

} // namespace QV::Logging::inline v2
