#pragma once

#include <mutex>

namespace QV::SharedSupport::PowerEvents {

/// The calls that make, set and clear a power request, so that a test can let them succeed or fail. What
/// fails leaves its reason as the thread's last error.
struct power_calls {
    void* (*create)();          ///< null when it fails
    bool (*set)(void* request); ///< keeps the computer awake
    bool (*clear)(void* request);
};

/// The calls of the system.
extern const power_calls system_power_calls;

/// A power request, made on first use and kept for ever, that is either set or clear: it does not count.
///
/// Thread safety: any thread. What fails is logged.
class power_request {
public:
    explicit power_request(const power_calls& calls) noexcept : calls_(calls) {}

    void disable_sleep() noexcept;
    void enable_sleep() noexcept;

private:
    /// @throws win32_error "PowerCreateRequest"
    void* handle();

    const power_calls calls_;
    std::mutex mutex_;
    void* handle_ = nullptr;
};

} // namespace QV::SharedSupport::PowerEvents
