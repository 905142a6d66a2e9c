#pragma once

#include <windows.h>

#include <string>

/// The registry of the Wine prefix that the tests run in. On Windows itself they leave the registry alone.
namespace wine_registry {

/// Whether this is Wine.
inline bool is_wine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// Sets a value while it lives; afterwards there is none.
class value {
public:
    value(HKEY root, std::wstring key, std::wstring name, DWORD type, const void* data, DWORD size)
        : root_(root), key_(std::move(key)), name_(std::move(name)),
          written(RegSetKeyValueW(root_, key_.c_str(), name_.c_str(), type, data, size) == ERROR_SUCCESS) {}
    value(HKEY root, std::wstring key, std::wstring name, DWORD number)
        : value(root, std::move(key), std::move(name), REG_DWORD, &number, sizeof(number)) {}
    value(HKEY root, std::wstring key, std::wstring name, const std::wstring& text)
        : value(root, std::move(key), std::move(name), REG_SZ, text.c_str(),
                static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) {}
    value(const value&) = delete;
    value& operator=(const value&) = delete;
    ~value() { RegDeleteKeyValueW(root_, key_.c_str(), name_.c_str()); }

private:
    HKEY root_;
    std::wstring key_;
    std::wstring name_;

public:
    /// Whether it could be set.
    const bool written;
};

} // namespace wine_registry
