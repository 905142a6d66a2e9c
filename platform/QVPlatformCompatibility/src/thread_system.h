#pragma once

#include <QVPlatformCompatibility/thread.h>

namespace QV {

/// What `thread.cpp` needs from the system; one source for each side. Failures are thrown as `win32_error`.
struct thread::system {
    /// Starts the thread and fills in its handle and number.
    static void start(thread& target, std::unique_ptr<routine> work);
    static void join(native_handle_type handle);
    static void detach(native_handle_type handle) noexcept;

    /// The body of every thread. Nothing may be thrown through the system's own frames: noexcept ends the
    /// process.
    static void run(std::unique_ptr<routine> work) noexcept { work->run(); }
};

} // namespace QV
