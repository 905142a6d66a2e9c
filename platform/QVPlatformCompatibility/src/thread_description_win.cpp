#include <QVPlatformCompatibility/thread_description.h>

#include "thread_description_calls.h"

#include <QVPlatformCompatibility/win32_module.h>

#include <type_traits>

namespace QV {

namespace {

// Looked up, because they are newer than the oldest Windows that we run on.
const thread_description_calls& system_calls() {
    static const win32_module kernel = win32_module::find_loaded("kernel32.dll");
    static const thread_description_calls found = {
        kernel.find_function<std::remove_pointer_t<decltype(thread_description_calls::set)>>(
            "SetThreadDescription"),
        kernel.find_function<std::remove_pointer_t<decltype(thread_description_calls::get)>>(
            "GetThreadDescription"),
        &LocalFree};
    return found;
}

} // namespace

std::optional<std::u16string> get_current_thread_description() {
    return read_thread_description(system_calls());
}

int set_current_thread_description(const std::u16string& description) {
    return write_thread_description(system_calls(), description);
}

} // namespace QV
