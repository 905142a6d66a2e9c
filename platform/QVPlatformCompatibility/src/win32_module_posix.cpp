#include "win32_module_system.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <cerrno>

#include <dlfcn.h>

namespace QV {

const char* const win32_module::system::load_function = "dlopen";
const char* const win32_module::system::find_function = "dlsym";
const unsigned long win32_module::system::invalid_name = EINVAL;
const unsigned long win32_module::system::missing_function = ENOENT;

void* win32_module::system::load(const std::string& name) {
    // An empty name would be the program itself.
    void* handle = name.empty() ? nullptr : dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw win32_error(load_function, ENOENT);
    return handle;
}

void* win32_module::system::find_loaded(const std::string& name) {
    return dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
}

void win32_module::system::unload(void* handle) noexcept {
    dlclose(handle);
}

win32_module::symbol win32_module::system::find(void* handle, const char* name) noexcept {
    return reinterpret_cast<symbol>(dlsym(handle, name));
}

} // namespace QV
