#include "thread_system.h"

#include <cstdio>
#include <exception>
#include <system_error>

namespace QV {

thread::thread(thread&& other) noexcept
    : handle_(std::exchange(other.handle_, 0)), id_(std::exchange(other.id_, 0)) {}

thread& thread::operator=(thread&& other) noexcept {
    if (this == &other) return *this;
    if (joinable()) abort_destroy();
    handle_ = std::exchange(other.handle_, 0);
    id_ = std::exchange(other.id_, 0);
    return *this;
}

thread::~thread() {
    if (joinable()) abort_destroy();
}

void thread::start(std::unique_ptr<routine> work) {
    if (joinable())
        throw std::system_error(std::make_error_code(std::errc::invalid_argument),
                                "QV::thread::start_thread: the object has a thread already");
    system::start(*this, std::move(work));
}

void thread::join() {
    if (!joinable())
        throw std::system_error(std::make_error_code(std::errc::invalid_argument),
                                "QV::thread::join: the object has no thread");
    if (id_ == current_id())
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                "QV::thread::join: a thread cannot wait for itself");
    system::join(handle_);
    handle_ = 0;
    id_ = 0;
}

void thread::detach() {
    if (!joinable())
        throw std::system_error(std::make_error_code(std::errc::invalid_argument),
                                "QV::thread::detach: the object has no thread");
    system::detach(handle_);
    handle_ = 0;
    id_ = 0;
}

void thread::abort_destroy() noexcept {
    std::fputs("QV::thread: a thread that was neither joined nor detached was destroyed\n", stderr);
    std::terminate();
}

} // namespace QV
