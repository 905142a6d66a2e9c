#include "checker_window.h"

std::vector<HWND> checker_windows() {
    std::vector<HWND> found;
    HWND window = nullptr;
    while ((window = FindWindowExA(nullptr, window, "wakeup class", nullptr)) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId()) found.push_back(window);
    }
    return found;
}

bool can_make_windows() {
    const HWND window =
        CreateWindowExA(0, "STATIC", nullptr, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    if (window == nullptr) return false;
    DestroyWindow(window);
    return true;
}

namespace {

// That it is called is all that matters: it ends the wait for a message.
void CALLBACK on_new_window(HWINEVENTHOOK, DWORD, HWND, LONG, LONG, DWORD, DWORD) {
    PostThreadMessageA(GetCurrentThreadId(), WM_NULL, 0, 0);
}

} // namespace

checker_window_watch::checker_window_watch()
    : hook_(SetWinEventHook(EVENT_OBJECT_CREATE, EVENT_OBJECT_CREATE, nullptr, on_new_window,
                            GetCurrentProcessId(), 0, WINEVENT_OUTOFCONTEXT)) {}

checker_window_watch::~checker_window_watch() {
    UnhookWinEvent(hook_);
}

HWND checker_window_watch::wait() {
    for (;;) {
        const std::vector<HWND> windows = checker_windows();
        if (!windows.empty()) return windows[0];
        MSG message = {};
        GetMessageA(&message, nullptr, 0, 0);
        DispatchMessageA(&message);
    }
}
