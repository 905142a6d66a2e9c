#include "wakeup_checker.h"

#include "power_log.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <exception>

namespace QV::SharedSupport::PowerEvents {
namespace {

using Logging::log_level;

// Lets the window hear of Modern Standby as well while it lives; where that cannot be, classic sleep remains.
class standby_registration {
public:
    standby_registration(HWND window, const checker_calls& calls) noexcept {
        try {
            functions_ = calls.find_standby();
            registration_ = functions_.add(window, DEVICE_NOTIFY_WINDOW_HANDLE);
            if (registration_ == nullptr) throw win32_error("RegisterSuspendResumeNotification");
        } catch (const std::exception& failure) {
            log_power(log_level::info, "Modern Standby detection will be disabled: {}", failure.what());
        }
    }
    standby_registration(const standby_registration&) = delete;
    standby_registration& operator=(const standby_registration&) = delete;
    ~standby_registration() {
        if (registration_ == nullptr || functions_.remove(registration_)) return;
        try {
            throw win32_error("UnregisterSuspendResumeNotification");
        } catch (const std::exception& failure) {
            log_power(log_level::error, "Failed to unregister from Modern standby notifications: {}",
                      failure.what());
        }
    }

private:
    standby_functions functions_ = {};
    HPOWERNOTIFY registration_ = nullptr;
};

} // namespace

void check_for_wakeups(const checker_calls& calls) noexcept {
    try {
        SetLastError(ERROR_SUCCESS); // a failure without a reason must not be given that of an earlier one
        const HWND window = calls.create_window();
        if (window == nullptr)
            return log_power(log_level::error, "CreateWindow failed: {}", get_last_error_string());
        const standby_registration standby(window, calls);
        MSG message = {};
        int result = 0;
        while ((result = calls.get_message(message)) > 0)
            DispatchMessageA(&message);
        if (result < 0) log_power(log_level::error, "GetMessage failed: {}", get_last_error_string());
    } catch (const std::exception& failure) {
        log_power(log_level::error, "The wake-up checker has ended: {}", failure.what());
    }
}

} // namespace QV::SharedSupport::PowerEvents
