#pragma once

#include <QVLog/logger.h>
#include <QVLog/sinks.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace QV::Logging::inline v2::detail {

struct logger_state : logger_gate {
    explicit logger_state(std::string its_name) : name(std::move(its_name)) {}

    const std::string name;
    /// Guarded by the registry's mutex; `threshold` is what follows from it.
    std::optional<log_level> own_level;
};

struct logger_access {
    static logger make(logger_state& state) noexcept { return {state, state}; }
    static const logger_state& state(const logger& log) noexcept { return *log.state_; }
};

/// The one set of loggers and sinks of the process. It is never destroyed: destructors of static objects, in
/// whatever order they run, may still log.
class registry {
public:
    static registry& instance();

    logger_state& get(std::string_view name);
    void set_own_level(logger_state& state, std::optional<log_level> level);
    log_level global_level();
    void set_global_level(log_level level);

    std::shared_ptr<const sink_list> sinks();
    sink_list exchange_sinks(std::shared_ptr<const sink_list> replacement);

private:
    registry();

    static void update_threshold(logger_state& state, log_level global) noexcept;

    std::mutex loggers_mutex_;
    std::map<std::string, std::unique_ptr<logger_state>, std::less<>> loggers_;
    log_level global_level_ = log_level::error;

    // Its own, because it is taken for every message.
    std::mutex sinks_mutex_;
    std::shared_ptr<const sink_list> sinks_;
};

/// Gives the message to every sink that wants it; never throws, see `failure_count`.
void deliver(const logger_state& state, log_level level, std::string_view text) noexcept;

/// Counts a failure and tells the first one on standard error. To be called in a handler: it names the
/// exception.
void note_failure(std::string_view logger_name) noexcept;

/// The calling thread's name for log lines. Valid until the thread sets another.
std::string_view current_thread_name() noexcept;

} // namespace QV::Logging::inline v2::detail
