#include <QVSharedSupport/process_handle.h>

#include "try_log.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

#include <exception>
#include <memory>
#include <source_location>
#include <utility>

namespace QV {
namespace {

// Reached only while the stack unwinds.
void log_failure(const char* signature, const char* what) noexcept {
    try_log("System", Logging::log_level::error, "{}: Child not ended: {}", signature, what);
}

} // namespace

process_handle::process_handle(const executor_type& executor) : object_(executor) {}

process_handle::process_handle(const executor_type& executor, void* const& native) : object_(executor) {
    object_.assign(native);
}

process_handle::process_handle(process_handle&& other) noexcept : object_(std::move(other.object_)) {}

process_handle& process_handle::operator=(process_handle&& other) {
    if (this != &other) {
        close();
        // Not Asio's assignment: it leaves the object with the service of the context that it had before,
        // where a wait would complete, or find nothing any more.
        std::destroy_at(&object_);
        std::construct_at(&object_, std::move(other.object_));
    }
    return *this;
}

process_handle::~process_handle() noexcept(false) {
    if (std::uncaught_exceptions() == 0) {
        close();
        return;
    }
    try {
        close();
    } catch (const std::exception& failure) {
        log_failure(std::source_location::current().function_name(), failure.what());
    }
}

void process_handle::assign(void* native) {
    close();
    object_.assign(native);
}

void process_handle::close() {
    if (!is_open()) return;
    kill();
    object_.wait();
    object_.close();
}

void process_handle::kill() {
    if (TerminateProcess(native_handle(), 0)) return;
    // Access denied is how Windows says that the process has already ended.
    const DWORD error = GetLastError();
    if (error != ERROR_ACCESS_DENIED) throw win32_error("TerminateProcess", error);
}

void process_handle::wait() {
    if (is_open()) object_.wait();
}

unsigned long process_handle::get_pid() const noexcept {
    return GetProcessId(native_handle());
}

std::optional<int> process_handle::get_error_code() const {
    DWORD code = 0;
    if (!GetExitCodeProcess(native_handle(), &code)) throw win32_error("GetExitCodeProcess");
    if (code == STILL_ACTIVE) return std::nullopt;
    return static_cast<int>(code);
}

bool process_handle::is_open() const noexcept {
    return native_handle() != nullptr;
}

void* process_handle::native_handle() const noexcept {
    // What Asio has for "none" is INVALID_HANDLE_VALUE, which Windows takes for the calling process itself:
    // it must never reach TerminateProcess.
    void* const native = object_.native_handle();
    return native == INVALID_HANDLE_VALUE ? nullptr : native;
}

} // namespace QV
