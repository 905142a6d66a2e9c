#include <QVSharedSupport/threads.h>

#include "immortal.h"
#include "performance_time.h"
#include "pin_module.h"
#include "power_log.h"
#include "wakeup_checker.h"

#include <QVPlatformCompatibility/win32_error.h>
#include <QVPlatformCompatibility/win32_module.h>

#include <windows.h>

#include <process.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <system_error>

namespace QV::SharedSupport::PowerEvents {
namespace {

using Logging::log_level;

constexpr char window_class[] = "wakeup class";
std::atomic<bool> started = false;

LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM what, LPARAM details) noexcept {
    if (message == WM_POWERBROADCAST) {
        if (what == PBT_APMSUSPEND) transitions().tell_sleep();
        if (what == PBT_APMRESUMEAUTOMATIC) transitions().tell_wakeup();
    }
    return DefWindowProcA(window, message, what, details);
}

// The module that this code is in.
HMODULE this_module() noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const char*>(&procedure), &module);
    return module;
}

HWND create_window() {
    WNDCLASSA description = {};
    description.lpfnWndProc = procedure;
    pin_this_module(); // the class stays
    description.hInstance = this_module();
    description.lpszClassName = window_class;
    RegisterClassA(&description); // if it fails there is no such class for the window
    // At the top level, though hidden: the system broadcasts to no other windows.
    return CreateWindowExA(0, window_class, nullptr, 0, 0, 0, 0, 0, nullptr, nullptr, description.hInstance,
                           nullptr);
}

standby_functions find_standby() {
    // This module uses user32 itself: the functions stay after the reference is given back.
    const win32_module user32("user32.dll");
    return {user32.get_function<HPOWERNOTIFY WINAPI(HANDLE, DWORD)>("RegisterSuspendResumeNotification"),
            user32.get_function<BOOL WINAPI(HPOWERNOTIFY)>("UnregisterSuspendResumeNotification")};
}

int get_message(MSG& message) {
    return GetMessageA(&message, nullptr, 0, 0);
}

void __cdecl checker(void*) noexcept {
    try {
        SetCurrentThreadName("wakeup_checker");
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): it checks as well without a name
    }
    // Of several threads that callers have started at the same time, one goes on.
    if (started.exchange(true)) return;
    check_for_wakeups(system_checker_calls);
}

} // namespace

const checker_calls system_checker_calls = {create_window, find_standby, get_message};

void start_wakeup_checker() noexcept {
    if (started) return;
    pin_this_module(); // before there is a thread in it
    // -1 is how it fails, whatever type of the runtime a thread's handle has.
    if (static_cast<std::intptr_t>(_beginthread(checker, 0, nullptr)) != -1) return;
    const int error = errno;
    try {
        log_power(log_level::error, "Unable to start the wake-up checker: {}",
                  std::generic_category().message(error));
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): not even memory to tell
    }
}

power_transitions& transitions() noexcept {
    static immortal<power_transitions> of_this_process(&performance_now);
    return of_this_process.get();
}

} // namespace QV::SharedSupport::PowerEvents
