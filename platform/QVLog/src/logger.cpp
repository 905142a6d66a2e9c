#include "logger_state.h"
#include "system_output.h"

#include <utility>

namespace QV::Logging::inline v2 {

namespace detail {

registry::registry() : sinks_(std::make_shared<const sink_list>(sink_list{make_console_sink()})) {}

registry& registry::instance() {
    static registry& one = *new registry;
    return one;
}

logger_state& registry::get(std::string_view name) {
    const std::lock_guard lock(loggers_mutex_);
    auto found = loggers_.find(name);
    if (found == loggers_.end()) {
        auto state = std::make_unique<logger_state>(std::string(name));
        update_threshold(*state, global_level_);
        found = loggers_.emplace(std::string(name), std::move(state)).first;
    }
    return *found->second;
}

void registry::update_threshold(logger_state& state, log_level global) noexcept {
    state.threshold.store(static_cast<int>(state.own_level.value_or(global)), std::memory_order_relaxed);
}

void registry::set_own_level(logger_state& state, std::optional<log_level> level) {
    const std::lock_guard lock(loggers_mutex_);
    state.own_level = level;
    update_threshold(state, global_level_);
}

log_level registry::global_level() {
    const std::lock_guard lock(loggers_mutex_);
    return global_level_;
}

void registry::set_global_level(log_level level) {
    const std::lock_guard lock(loggers_mutex_);
    global_level_ = level;
    for (const auto& [name, state] : loggers_)
        update_threshold(*state, level);
}

std::shared_ptr<const sink_list> registry::sinks() {
    const std::lock_guard lock(sinks_mutex_);
    return sinks_;
}

sink_list registry::exchange_sinks(std::shared_ptr<const sink_list> replacement) {
    const std::lock_guard lock(sinks_mutex_);
    sink_list previous = *sinks_; // first: without memory for it nothing is replaced
    sinks_.swap(replacement);
    return previous;
}

} // namespace detail

logger get_logger(std::string_view name) {
    return detail::logger_access::make(detail::registry::instance().get(name));
}

const std::string& logger::name() const noexcept {
    return state_->name;
}

log_level logger::level() const noexcept {
    return static_cast<log_level>(gate_->threshold.load(std::memory_order_relaxed));
}

void logger::set_level(log_level level) const {
    detail::registry::instance().set_own_level(*state_, level);
}

void logger::reset_level() const {
    detail::registry::instance().set_own_level(*state_, std::nullopt);
}

log_level global_level() {
    return detail::registry::instance().global_level();
}

void set_global_level(log_level level) {
    detail::registry::instance().set_global_level(level);
}

void log_str(const logger& log, log_level level, std::string_view text) noexcept {
    if (!log.is_enabled(level)) return;
    const system_output::error_keeper keep_last_error;
    detail::deliver(detail::logger_access::state(log), level, text);
}

void log_fmt_impl(const logger& log, log_level level, fmt::string_view format,
                  fmt::format_args arguments) noexcept {
    if (!log.is_enabled(level)) return;
    const system_output::error_keeper keep_last_error;
    try {
        fmt::memory_buffer text;
        fmt::vformat_to(fmt::appender(text), format, arguments);
        detail::deliver(detail::logger_access::state(log), level, {text.data(), text.size()});
    } catch (...) {
        detail::note_failure(log.name());
    }
}

} // namespace QV::Logging::inline v2
