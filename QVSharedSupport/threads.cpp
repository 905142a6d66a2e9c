#include <QVSharedSupport/threads.h>

#include "utf.h"

#include <QVLog/QVLog.h>
#include <QVPlatformCompatibility/thread_description.h>

#include <exception>
#include <utility>

namespace QV {

std::optional<std::string> GetCurrentThreadName() {
    const std::optional<std::u16string> description = get_current_thread_description();
    if (!description) return std::nullopt;
    return utf::to_utf8(*description, utf::mode::lenient);
}

int SetCurrentThreadName(const std::string& name) {
    Logging::set_current_thread_name(name);
    return set_current_thread_description(utf::to_utf16(name, utf::mode::lenient));
}

void InstallSignalHandler(int, std::function<void()> handler) {
    handler = nullptr;
}

thread_name_scope::thread_name_scope(const std::string& name) {
    if (name.empty()) return;
    own_name_ = GetCurrentThreadName();
    if (own_name_) SetCurrentThreadName(name);
}

thread_name_scope::~thread_name_scope() {
    if (!own_name_) return;
    try {
        SetCurrentThreadName(*own_name_);
    } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): a wrong name is not worth the process
    }
}

thread_pool::thread_pool() = default;

thread_pool::~thread_pool() {
    // Joined outside the lock: a thread that is finishing may still want the list, and even add to it.
    for (;;) {
        std::list<thread> ending;
        {
            const std::lock_guard guard(mutex_);
            ending.swap(threads_);
        }
        if (ending.empty()) return;
        for (thread& each : ending)
            if (each.joinable()) each.join();
    }
}

void thread_pool::add(thread&& thread) {
    const std::lock_guard guard(mutex_);
    threads_.push_back(std::move(thread));
}

} // namespace QV
