#include "logger_state.h"
#include "system_output.h"

#include <spdlog/details/os.h>

#include <atomic>
#include <exception>
#include <stdexcept>
#include <utility>

namespace QV::Logging::inline v2 {

namespace {

std::atomic<std::uint64_t> failures{0};

/// The sinks that the calling thread is inside of, innermost first; kept on its stack.
struct entered_sink {
    const sink* which;
    const entered_sink* outer;
};

thread_local const entered_sink* innermost = nullptr;

bool inside(const sink& which) noexcept {
    for (const entered_sink* entered = innermost; entered; entered = entered->outer)
        if (entered->which == &which) return true;
    return false;
}

/// Calls a sink; a message that it logs itself will not come back to it.
template <class Operation>
void call_sink(sink& which, std::string_view logger_name, Operation operation) noexcept {
    if (inside(which)) return;
    const entered_sink entered{&which, innermost};
    innermost = &entered;
    try {
        operation(which);
    } catch (...) {
        detail::note_failure(logger_name);
    }
    innermost = entered.outer;
}

} // namespace

void detail::note_failure(std::string_view logger_name) noexcept {
    if (failures.fetch_add(1, std::memory_order_relaxed) != 0) return;
    try {
        std::string line = "QVLog: a message of the logger \"" + std::string(logger_name) + "\" was lost";
        try {
            throw;
        } catch (const std::exception& error) {
            line.append(": ").append(error.what());
        } catch (...) {
            line.append(": something that is no std::exception was thrown");
        }
        system_output::write_standard_error(line + "; further losses are only counted\n");
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nobody left to tell; it has been counted
    }
}

void detail::deliver(const logger_state& state, log_level level, std::string_view text) noexcept {
    if (level >= log_level::off) return;
    try {
        const record message{state.name,
                             level,
                             spdlog::details::os::thread_id(),
                             current_thread_name(),
                             std::chrono::system_clock::now(),
                             text};
        const auto sinks = registry::instance().sinks();
        for (const std::shared_ptr<sink>& each : *sinks)
            if (level >= each->level())
                call_sink(*each, state.name, [&](sink& target) { target.write(message); });
    } catch (...) {
        note_failure(state.name);
    }
}

std::uint64_t failure_count() noexcept {
    return failures.load(std::memory_order_relaxed);
}

sink_list set_sinks(sink_list sinks) {
    for (const std::shared_ptr<sink>& each : sinks)
        if (!each) throw std::invalid_argument("A log sink must not be null");
    auto replacement = std::make_shared<const sink_list>(std::move(sinks));
    return detail::registry::instance().exchange_sinks(std::move(replacement));
}

sink_list get_sinks() {
    return *detail::registry::instance().sinks();
}

void flush_sinks() noexcept {
    try {
        const auto sinks = detail::registry::instance().sinks();
        for (const std::shared_ptr<sink>& each : *sinks)
            call_sink(*each, "", [](sink& target) { target.flush(); });
    } catch (...) {
        detail::note_failure("");
    }
}

} // namespace QV::Logging::inline v2
