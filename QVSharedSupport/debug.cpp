#include <QVSharedSupport/debug.h>

#include "backtrace.h"

#include <CFAdapters/String.h>

#include <windows.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <span>

namespace QV::SharedSupport::Debug {

std::string get_backtrace() noexcept {
    constexpr DWORD own_frame = 1;
    std::array<void*, 256> frames = {};
    RtlCaptureStackBackTrace(own_frame, static_cast<DWORD>(frames.size()), frames.data(), nullptr);
    // A null address ends the stack; what the system makes of the bytes behind it are no frames.
    const auto end = std::ranges::find(frames, nullptr);
    try {
        static std::mutex one_at_a_time;
        const std::scoped_lock lock(one_at_a_time);
        const debug_engine engine;
        return backtrace_text(std::span(frames.begin(), end),
                              [&](std::uintptr_t address) { return engine.find(address); });
    } catch (...) {
        // For want of memory; who asks is in trouble already, and must not get into more.
        return std::string();
    }
}

} // namespace QV::SharedSupport::Debug

CFStringRef QXDebugCreateTraceString() {
    const CF::String text(QV::SharedSupport::Debug::get_backtrace());
    // One reference is the caller's, the other goes with `text`.
    return text ? static_cast<CFStringRef>(CFRetain(text.get())) : nullptr;
}

void QXDebugCrashApplication() {
    // Meant as it is. Both are volatile so that no compiler can know that the pointer is null, nor leave out
    // reading a value that nobody uses.
    const volatile std::uint32_t* const volatile nowhere = nullptr;
    static_cast<void>(*nowhere); // NOLINT(clang-analyzer-core.NullDereference)
}
