#pragma once

#include <QVPlatformCompatibility/win32_module.h>

#include <string>

namespace QV {

/// What `win32_module.cpp` needs from the system; one source for each side.
struct win32_module::system {
    /// @throws win32_error
    static void* load(const std::string& name);
    /// Null if the process has no such module loaded; a reference is added.
    static void* find_loaded(const std::string& name);
    static void unload(void* handle) noexcept;
    /// Null, with the system's last error set, if there is none.
    static symbol find(void* handle, const char* name) noexcept;

    static const char* const load_function;
    static const char* const find_function;
    static const unsigned long invalid_name;
    static const unsigned long missing_function;
};

} // namespace QV
