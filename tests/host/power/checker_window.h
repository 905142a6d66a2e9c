#pragma once

#include <windows.h>

#include <vector>

/// The checker's windows in this process.
std::vector<HWND> checker_windows();

/// Whether this process can have windows at all.
bool can_make_windows();

/// Waits for the checker's window to appear. To be made before it can.
class checker_window_watch {
public:
    checker_window_watch();
    checker_window_watch(const checker_window_watch&) = delete;
    checker_window_watch& operator=(const checker_window_watch&) = delete;
    ~checker_window_watch();

    /// Blocks until there is one. On the thread that made this object.
    HWND wait();

private:
    HWINEVENTHOOK hook_;
};
