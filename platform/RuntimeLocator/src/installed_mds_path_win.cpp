#include "installed_mds_path.h"

#include <algorithm>
#include <memory>
#include <string>
#include <system_error>

#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

namespace QV::RuntimeLocator {

namespace {

constexpr wchar_t key_name[] = L"SOFTWARE\\Apple Inc.\\Apple Mobile Device Support";
constexpr wchar_t value_name[] = L"InstallDir";

/// The text value of an open key; empty if it has none. References to environment variables are filled in.
std::wstring read_text(HKEY key) {
    std::wstring text(MAX_PATH, L'\0');
    for (;;) {
        DWORD bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        const LSTATUS result =
            RegGetValueW(key, nullptr, value_name, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
        if (result == ERROR_SUCCESS) return text.substr(0, text.find(L'\0')); // the buffer is larger
        if (result != ERROR_MORE_DATA) return {};
        // The answer is how much would do; should it be no more than was given, it must grow all the same.
        text.resize(std::max<std::size_t>(text.size() * 2, bytes / sizeof(wchar_t) + 1));
    }
}

std::wstring registered_folder(REGSAM view) {
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key_name, 0, KEY_QUERY_VALUE | view, &handle) != ERROR_SUCCESS)
        return {};
    const std::unique_ptr<HKEY__, decltype(&RegCloseKey)> key(handle, &RegCloseKey);
    return read_text(key.get());
}

std::filesystem::path default_folder() {
    wchar_t* text = nullptr;
    const HRESULT result = SHGetKnownFolderPath(FOLDERID_ProgramFilesCommon, KF_FLAG_DEFAULT, nullptr, &text);
    const std::unique_ptr<wchar_t, decltype(&CoTaskMemFree)> owner(text, &CoTaskMemFree);
    if (FAILED(result)) throw std::system_error(result, std::system_category(), "get_mds_path");
    return std::filesystem::path(text) / L"Apple" / L"Mobile Device Support";
}

} // namespace

std::filesystem::path installed_mds_path() {
    for (const REGSAM view : {REGSAM{KEY_WOW64_64KEY}, REGSAM{KEY_WOW64_32KEY}}) {
        // A relative path would be one below whatever the current folder is; nobody installs there.
        const std::filesystem::path folder = registered_folder(view);
        if (folder.is_absolute()) return folder;
    }
    return default_folder();
}

} // namespace QV::RuntimeLocator
