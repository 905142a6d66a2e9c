#include "driver_download_setting.h"

namespace QV {

bool is_windows_8_or_later(verify_version verify) noexcept {
    OSVERSIONINFOEXW least = {};
    least.dwOSVersionInfoSize = sizeof(least);
    least.dwMajorVersion = 6;
    least.dwMinorVersion = 2;
    least.wServicePackMajor = 0;
    constexpr DWORD fields = VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR;
    ULONGLONG conditions = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    conditions = VerSetConditionMask(conditions, VER_MINORVERSION, VER_GREATER_EQUAL);
    conditions = VerSetConditionMask(conditions, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return verify(&least, fields, conditions) != FALSE;
}

bool search_order_config() noexcept {
    HKEY key = nullptr;
    // The system's own view of the registry, should this ever run as a 32-bit program.
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching", 0,
                      KEY_READ | KEY_WOW64_64KEY, &key) != ERROR_SUCCESS)
        return false;
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS result =
        RegGetValueA(key, nullptr, "SearchOrderConfig", RRF_RT_DWORD | RRF_NOEXPAND, nullptr, &value, &size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS && value == 1;
}

bool auto_driver_download_enabled(verify_version verify) noexcept {
    // Later versions keep the value, but do not go by it.
    return !is_windows_8_or_later(verify) && search_order_config();
}

} // namespace QV
