#include "win32_module_system.h"

#include "windows_text.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

namespace QV {

const char* const win32_module::system::load_function = "LoadLibraryExW";
const char* const win32_module::system::find_function = "GetProcAddress";
const unsigned long win32_module::system::invalid_name = ERROR_INVALID_NAME;
const unsigned long win32_module::system::missing_function = ERROR_PROC_NOT_FOUND;

void* win32_module::system::load(const std::string& name) {
    const bool bare = name.find_first_of("/\\:") == std::string::npos;
    const DWORD flags = bare ? LOAD_LIBRARY_SEARCH_SYSTEM32 : LOAD_WITH_ALTERED_SEARCH_PATH;
    const HMODULE module = LoadLibraryExW(windows_text::to_wide(name).c_str(), nullptr, flags);
    if (!module) throw win32_error(load_function);
    return module;
}

void* win32_module::system::find_loaded(const std::string& name) {
    HMODULE module = nullptr;
    return GetModuleHandleExW(0, windows_text::to_wide(name).c_str(), &module) ? module : nullptr;
}

void win32_module::system::unload(void* handle) noexcept {
    FreeLibrary(static_cast<HMODULE>(handle));
}

win32_module::symbol win32_module::system::find(void* handle, const char* name) noexcept {
    return reinterpret_cast<symbol>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

} // namespace QV
