#pragma once

#include <QVPlatformCompatibility/export.h>

#include <string_view>

namespace QV {

/// A module (DLL) of the system, loaded at run time, and its functions: for calls that not every Windows
/// version has.
///
///     const QV::win32_module user32("user32.dll");
///     const auto enable = user32.get_function<BOOL WINAPI(HWND)>("EnableSomethingNew");
///     enable(window);
///
/// It owns one reference of the module: functions taken from it may be called as long as it lives. Elsewhere
/// than on Windows it loads shared objects. Thread safety: const members from any thread, others from one at
/// a time.
class win32_module {
public:
    /// Without a module.
    win32_module() noexcept = default;
    /// Loads the module, which runs its start-up code. `name` is UTF-8. A name without a folder is searched
    /// for in the system's folder only, never beside the program or in the current folder, where somebody may
    /// have planted one; a path is taken as it is. @throws win32_error "LoadLibraryExW" ("dlopen"), also for
    /// a name that holds a NUL.
    QVPLATFORMCOMPATIBILITY_EXPORT explicit win32_module(std::string_view name);
    /// The module of that name if the process has it loaded already, otherwise an object without one.
    QVPLATFORMCOMPATIBILITY_EXPORT static win32_module find_loaded(std::string_view name);

    win32_module(const win32_module&) = delete;
    win32_module& operator=(const win32_module&) = delete;
    QVPLATFORMCOMPATIBILITY_EXPORT win32_module(win32_module&& other) noexcept;
    QVPLATFORMCOMPATIBILITY_EXPORT win32_module& operator=(win32_module&& other) noexcept;
    /// Gives the reference back.
    QVPLATFORMCOMPATIBILITY_EXPORT ~win32_module();

    /// Whether it has a module.
    explicit operator bool() const noexcept { return handle_ != nullptr; }
    /// The `HMODULE`, which belongs to this object; null without a module.
    void* native_handle() const noexcept { return handle_; }

    /// The exported function `name`, or null. `Signature` must be the function's own, calling convention
    /// included.
    template <class Signature>
    Signature* find_function(const char* name) const noexcept {
        return reinterpret_cast<Signature*>(find_symbol(name));
    }

    /// The exported function `name`. @throws win32_error "GetProcAddress" ("dlsym") if there is none.
    template <class Signature>
    Signature* get_function(const char* name) const {
        return reinterpret_cast<Signature*>(get_symbol(name));
    }

private:
    using symbol = void (*)();
    struct system; // the two sides of it, in the sources

    explicit win32_module(void* handle) noexcept : handle_(handle) {}
    QVPLATFORMCOMPATIBILITY_EXPORT symbol find_symbol(const char* name) const noexcept;
    QVPLATFORMCOMPATIBILITY_EXPORT symbol get_symbol(const char* name) const;

    void* handle_ = nullptr;
};

} // namespace QV
