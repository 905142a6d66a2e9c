#include "thread_system.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <process.h>
#include <windows.h>

namespace QV {

namespace {

HANDLE as_handle(thread::native_handle_type handle) noexcept {
    return reinterpret_cast<HANDLE>(handle); // NOLINT(performance-no-int-to-ptr): a handle is a number
}

} // namespace

void thread::system::start(thread& target, std::unique_ptr<routine> work) {
    // Not CreateThread: the C run-time sets up its own per-thread state in here.
    const auto entry = [](void* argument) -> unsigned {
        run(std::unique_ptr<routine>(static_cast<routine*>(argument)));
        return 0;
    };
    unsigned number = 0;
    routine* const passed = work.release();
    const std::uintptr_t handle = _beginthreadex(nullptr, 0, entry, passed, 0, &number);
    if (handle == 0) {
        const unsigned long code = GetLastError();
        work.reset(passed); // there is no thread that would free it
        throw win32_error("_beginthreadex", code);
    }
    target.handle_ = handle;
    target.id_ = number;
}

void thread::system::join(native_handle_type handle) {
    if (WaitForSingleObject(as_handle(handle), INFINITE) != WAIT_OBJECT_0)
        throw win32_error("WaitForSingleObject");
    CloseHandle(as_handle(handle));
}

void thread::system::detach(native_handle_type handle) noexcept {
    CloseHandle(as_handle(handle));
}

thread::id thread::current_id() noexcept {
    return GetCurrentThreadId();
}

} // namespace QV
