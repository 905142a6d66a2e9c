#include "power_transitions.h"

#include "power_log.h"

#include <exception>
#include <utility>

namespace QV::SharedSupport::PowerEvents {

using Logging::log_level;

void callback_slot::set(std::function<void()> callback) {
    pointer changed = std::make_shared<const std::function<void()>>(std::move(callback));
    {
        const std::lock_guard lock(mutex_);
        callback_.swap(changed);
    }
    // Here the one before is let go, which may run code of the host: never under the lock.
}

void callback_slot::call(const char* name) const noexcept {
    pointer current;
    {
        const std::lock_guard lock(mutex_);
        current = callback_;
    }
    if (!current || !*current) return;
    // The system called this thread: an exception has nowhere to go.
    try {
        (*current)();
    } catch (const std::exception& failure) {
        log_power(log_level::error, "{} callback failed: {}", name, failure.what());
    } catch (...) {
        log_power(log_level::error, "{} callback failed: {}", name, "unknown exception");
    }
}

void power_transitions::tell_sleep() noexcept {
    log_power(log_level::trace, "Calling sleep callback");
    // The time of going to sleep is kept too: see `last_wake_time()`.
    last_ = now_();
    sleep.call("Sleep");
}

void power_transitions::tell_wakeup() noexcept {
    log_power(log_level::trace, "Calling wake callback");
    last_ = now_();
    wakeup.call("Wake");
}

} // namespace QV::SharedSupport::PowerEvents
