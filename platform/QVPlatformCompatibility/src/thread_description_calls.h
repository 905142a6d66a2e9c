#pragma once

#include <QVPlatformCompatibility/win32_module.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <windows.h>

namespace QV {

/// The system's functions for thread descriptions; null for one that it does not have.
struct thread_description_calls {
    HRESULT(WINAPI* set)(HANDLE, const wchar_t*);
    HRESULT(WINAPI* get)(HANDLE, wchar_t**);
    HLOCAL(WINAPI* free)(HLOCAL);
};

/// Where these functions are: Windows 10 1607 and Server 2016 have them in the first alone.
inline constexpr const char* thread_description_modules[] = {"kernelbase.dll", "kernel32.dll"};

/// Those of the first module that has them. Looked up, because they are newer than the oldest Windows that we
/// run on; the modules are the system's own, which it never unloads.
inline thread_description_calls
find_thread_description_calls(std::span<const char* const> modules = thread_description_modules) {
    for (const char* const name : modules) {
        const win32_module module = win32_module::find_loaded(name);
        const auto set = module.find_function<HRESULT WINAPI(HANDLE, const wchar_t*)>("SetThreadDescription");
        const auto get = module.find_function<HRESULT WINAPI(HANDLE, wchar_t**)>("GetThreadDescription");
        if (set && get) return {set, get, &LocalFree};
    }
    return {nullptr, nullptr, &LocalFree};
}

/// What `get_current_thread_description` says where the system has these functions.
inline std::optional<std::u16string> read_thread_description(const thread_description_calls& calls) {
    if (!calls.get) return std::nullopt;
    wchar_t* text = nullptr;
    const HRESULT result = calls.get(GetCurrentThread(), &text);
    // Also when the call has failed: nobody says that it leaves nothing behind then.
    const std::unique_ptr<wchar_t, decltype(calls.free)> owner(text, calls.free);
    if (FAILED(result) || !text) return std::nullopt;
    const std::wstring_view wide(text);
    return std::u16string(wide.begin(), wide.end());
}

/// What `set_current_thread_description` does where the system has these functions.
inline int write_thread_description(const thread_description_calls& calls,
                                    const std::u16string& description) {
    if (!calls.set) return E_NOTIMPL;
    return calls.set(GetCurrentThread(), std::wstring(description.begin(), description.end()).c_str());
}

} // namespace QV
