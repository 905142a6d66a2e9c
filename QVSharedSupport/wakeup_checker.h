#pragma once

#include "power_transitions.h"

#include <windows.h>

namespace QV::SharedSupport::PowerEvents {

/// The system's functions for Modern Standby, which not every Windows has.
struct standby_functions {
    HPOWERNOTIFY(WINAPI* add)(HANDLE recipient, DWORD flags);
    BOOL(WINAPI* remove)(HPOWERNOTIFY registration);
};

/// The calls that the checker makes, so that a test can let each fail. What fails leaves its reason as the
/// thread's last error.
struct checker_calls {
    HWND (*create_window)();             ///< null when it fails
    standby_functions (*find_standby)(); ///< @throws win32_error
    int (*get_message)(MSG& message);    ///< 0 at the end, -1 when it fails
};

/// The calls of the system.
extern const checker_calls system_checker_calls;

/// Makes the hidden window and passes on what the system tells it, until the thread is told to quit. Failures
/// are logged.
void check_for_wakeups(const checker_calls& calls) noexcept;

/// Starts the thread that does so for the rest of the process's life, if it does not run yet. A failure is
/// logged.
void start_wakeup_checker() noexcept;

/// The transitions of this process.
power_transitions& transitions() noexcept;

} // namespace QV::SharedSupport::PowerEvents
