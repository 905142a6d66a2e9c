#include "power_request.h"

#include "power_log.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <exception>

namespace QV::SharedSupport::PowerEvents {

using Logging::log_level;

void power_request::disable_sleep() noexcept {
    log_power(log_level::trace, "Disabling sleep");
    const std::lock_guard lock(mutex_);
    log_power(log_level::trace, "Attempting to disable sleep...");
    try {
        if (!calls_.set(handle())) throw win32_error("PowerSetRequest");
        log_power(log_level::trace, "Sleep disabled");
    } catch (const std::exception& failure) {
        log_power(log_level::error, "Unable to disable sleep: {}", failure.what());
    }
    log_power(log_level::trace, "Disabled sleep");
}

void power_request::enable_sleep() noexcept {
    log_power(log_level::trace, "Enabling sleep");
    const std::lock_guard lock(mutex_);
    log_power(log_level::trace, "Attempting to enable sleep...");
    try {
        if (!calls_.clear(handle())) throw win32_error("PowerClearRequest");
        log_power(log_level::trace, "Sleep enabled");
    } catch (const std::exception& failure) {
        log_power(log_level::error, "Unable to enable sleep: {}", failure.what());
    }
    log_power(log_level::trace, "Enabled sleep");
}

void* power_request::handle() {
    // One that could not be made is tried again by the next token.
    if (handle_ == nullptr) handle_ = calls_.create();
    if (handle_ == nullptr) throw win32_error("PowerCreateRequest");
    return handle_;
}

} // namespace QV::SharedSupport::PowerEvents
