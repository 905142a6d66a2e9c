#include "thread_system.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <atomic>

#include <pthread.h>

namespace QV {

namespace {

// The system's own number of a thread is known only on that thread; so the numbers are given out here.
std::atomic<thread::id> last_id{0};
thread_local thread::id this_thread_id = 0;

} // namespace

void thread::system::start(thread& target, std::unique_ptr<routine> work) {
    struct start_data {
        id number;
        std::unique_ptr<routine> work;
    };
    const auto entry = [](void* argument) -> void* {
        const std::unique_ptr<start_data> data(static_cast<start_data*>(argument));
        this_thread_id = data->number;
        run(std::move(data->work));
        return nullptr;
    };
    const id number = ++last_id;
    auto data = std::make_unique<start_data>(start_data{number, std::move(work)});
    start_data* const passed = data.release();
    pthread_t handle{};
    if (const int code = pthread_create(&handle, nullptr, entry, passed)) {
        data.reset(passed); // there is no thread that would free it
        throw win32_error("pthread_create", static_cast<unsigned long>(code));
    }
    target.handle_ = handle;
    target.id_ = number;
}

void thread::system::join(native_handle_type handle) {
    if (const int code = pthread_join(handle, nullptr))
        throw win32_error("pthread_join", static_cast<unsigned long>(code));
}

void thread::system::detach(native_handle_type handle) noexcept {
    pthread_detach(handle);
}

thread::id thread::current_id() noexcept {
    if (this_thread_id == 0) this_thread_id = ++last_id;
    return this_thread_id;
}

} // namespace QV
