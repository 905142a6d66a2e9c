#include <QVSharedSupport/PowerEvents.h>

#include "immortal.h"
#include "power_log.h"
#include "power_request.h"
#include "wakeup_checker.h"

#include <exception>

namespace QV::SharedSupport::PowerEvents {
namespace {

power_request& request() noexcept {
    static immortal<power_request> of_this_process(system_power_calls);
    return of_this_process.get();
}

void set(callback_slot& slot, std::function<void()>& callback) noexcept {
    try {
        slot.set(std::move(callback));
    } catch (const std::exception& failure) {
        log_power(Logging::log_level::error, "Unable to set a power callback: {}", failure.what());
    }
    start_wakeup_checker();
}

} // namespace

sleep_enabler::sleep_enabler(sleep_enabler&& other) noexcept : active(std::exchange(other.active, false)) {}

sleep_enabler::~sleep_enabler() {
    if (active) request().enable_sleep();
}

sleep_enabler sleep_enabler::disable_sleep_impl() noexcept {
    request().disable_sleep();
    return sleep_enabler(true);
}

void set_sleep_callback(std::function<void()> callback) noexcept {
    set(transitions().sleep, callback);
}

void set_wakeup_callback(std::function<void()> callback) noexcept {
    set(transitions().wakeup, callback);
}

std::chrono::steady_clock::time_point last_wake_time() noexcept {
    return transitions().last();
}

} // namespace QV::SharedSupport::PowerEvents
