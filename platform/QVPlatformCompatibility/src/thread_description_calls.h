#pragma once

#include <memory>
#include <optional>
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
