#include "os_version.h"

#include <fmt/format.h>

#include <cstddef>
#include <stdexcept>
#include <vector>

namespace QV {

const file_version_calls system_file_version_calls = {&GetFileVersionInfoSizeA, &GetFileVersionInfoA,
                                                      &VerQueryValueA};

std::string file_version_text(const VS_FIXEDFILEINFO& info) {
    return fmt::format("{}.{}.{}.{}", HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS),
                       HIWORD(info.dwFileVersionLS), LOWORD(info.dwFileVersionLS));
}

std::string os_version(const file_version_calls& calls) {
    constexpr const char* file = "kernel32.dll";
    DWORD ignored = 0;
    const DWORD size = calls.get_size(file, &ignored);
    std::vector<std::byte> resource(size);
    if (size == 0 || !calls.get_info(file, 0, size, resource.data()))
        throw std::runtime_error("Failed to read info from kernel32.dll");
    void* value = nullptr;
    UINT value_size = 0;
    if (!calls.query_value(resource.data(), "\\", &value, &value_size) || value == nullptr ||
        value_size < sizeof(VS_FIXEDFILEINFO))
        throw std::runtime_error("Failed to get version");
    return file_version_text(*static_cast<const VS_FIXEDFILEINFO*>(value));
}

} // namespace QV
