#pragma once

#include <RuntimeLocator/mds_path.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace test {

/// A folder that `get_mds_path` leads to while it lives, with a "MobileDevice.dll" of the test's own.
class runtime_folder {
public:
    runtime_folder() {
        std::filesystem::create_directories(folder);
        QV::RuntimeLocator::set_mds_path(folder);
    }
    ~runtime_folder() {
        QV::RuntimeLocator::set_mds_path(std::nullopt);
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    runtime_folder(const runtime_folder&) = delete;
    runtime_folder& operator=(const runtime_folder&) = delete;

    void copy(const std::filesystem::path& from) const {
        std::filesystem::copy_file(from, module, std::filesystem::copy_options::overwrite_existing);
    }
    void write(const std::string& bytes) const { std::ofstream(module, std::ios::binary) << bytes; }

    const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                         (L"qv runtime \x00E9 " + std::to_wstring(GetCurrentProcessId()));
    const std::filesystem::path module = folder / "MobileDevice.dll";
};

/// Where this program and the modules built with it lie.
inline std::filesystem::path program_folder() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

} // namespace test
