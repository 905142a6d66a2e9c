#include <QVPlatformCompatibility/thread_description.h>

#include <QVPlatformCompatibility/win32_module.h>

#include <memory>
#include <string_view>

#include <windows.h>

namespace QV {

namespace {

using set_function = HRESULT WINAPI(HANDLE, const wchar_t*);
using get_function = HRESULT WINAPI(HANDLE, wchar_t**);

// Looked up, because they are newer than the oldest Windows that we run on.
struct description_functions {
    const win32_module kernel = win32_module::find_loaded("kernel32.dll");
    set_function* const set = kernel.find_function<set_function>("SetThreadDescription");
    get_function* const get = kernel.find_function<get_function>("GetThreadDescription");
};

const description_functions& functions() {
    static const description_functions found;
    return found;
}

} // namespace

std::optional<std::u16string> get_current_thread_description() {
    const auto get = functions().get;
    if (!get) return std::nullopt;
    wchar_t* text = nullptr;
    const HRESULT result = get(GetCurrentThread(), &text);
    const std::unique_ptr<wchar_t, decltype(&LocalFree)> owner(text, &LocalFree);
    if (FAILED(result) || !text) return std::nullopt;
    const std::wstring_view wide(text);
    return std::u16string(wide.begin(), wide.end());
}

int set_current_thread_description(const std::u16string& description) {
    const auto set = functions().set;
    if (!set) return E_NOTIMPL;
    return set(GetCurrentThread(), std::wstring(description.begin(), description.end()).c_str());
}

} // namespace QV
