#include "thread_system.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <typeinfo>

#include <process.h>
#include <windows.h>

namespace QV {

namespace {

HANDLE as_handle(thread::native_handle_type handle) noexcept {
    return reinterpret_cast<HANDLE>(handle); // NOLINT(performance-no-int-to-ptr): a handle is a number
}

/// Keeps the module that an address lies in loaded. A detached thread may outlive the last reference that the
/// program itself has to a DLL, and would come back to code that is no longer there.
class module_reference {
public:
    explicit module_reference(const void* address) noexcept {
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<const wchar_t*>(address),
                           &module_);
    }
    module_reference(module_reference&& other) noexcept : module_(other.release()) {}
    module_reference& operator=(module_reference&&) = delete;
    ~module_reference() {
        if (module_) FreeLibrary(module_);
    }
    HMODULE release() noexcept { return std::exchange(module_, nullptr); }

private:
    HMODULE module_ = nullptr;
};

} // namespace

void thread::system::start(thread& target, std::unique_ptr<routine> work) {
    struct start_data {
        module_reference own;  // this code
        module_reference code; // and what is to be run
        std::unique_ptr<routine> work;
    };
    // Not CreateThread: the C run-time sets up its own per-thread state in here.
    const auto entry = [](void* argument) -> unsigned {
        std::unique_ptr<start_data> data(static_cast<start_data*>(argument));
        run(std::move(data->work));
        const HMODULE own = data->own.release();
        data.reset();
        // Nothing that has a destructor is left: this does not come back.
        if (own) FreeLibraryAndExitThread(own, 0);
        return 0;
    };
    const routine& to_run = *work; // what describes its type lies in the module that it was compiled in
    auto data = std::make_unique<start_data>(
        start_data{module_reference(&typeid(system)), module_reference(&typeid(to_run)), std::move(work)});
    unsigned number = 0;
    start_data* const passed = data.release();
    const std::uintptr_t handle = _beginthreadex(nullptr, 0, entry, passed, 0, &number);
    if (handle == 0) {
        const unsigned long code = GetLastError();
        data.reset(passed); // there is no thread that would free it
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
