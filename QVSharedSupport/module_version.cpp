#include "module_version.h"

#include <QVLog/QVLog.h>

#include <windows.h>

#include <cstring>
#include <vector>

namespace QV {
namespace {

software_version failed(std::string_view call, std::string_view name) {
    Logging::get_logger("System").log(Logging::log_level::error, "{} failed for module '{}'", call, name);
    return {};
}

/// What every block of a version resource begins with.
struct block_header {
    WORD length; ///< of the whole block, in bytes
    WORD value_length;
    WORD type;
};

/// Whether the resource is as long as it says. Windows believes it, and would read past the end of a cut one.
bool is_complete(std::span<const std::byte> resource) noexcept {
    // The header, its key "VS_VERSION_INFO" with the NUL, padding to four bytes, and the value.
    constexpr std::size_t key_bytes = 16 * sizeof(wchar_t);
    constexpr std::size_t least = sizeof(block_header) + key_bytes + 2 + sizeof(VS_FIXEDFILEINFO);
    if (resource.size() < least) return false;
    block_header header = {};
    std::memcpy(&header, resource.data(), sizeof(header));
    return header.length <= resource.size();
}

} // namespace

software_version read_version_resource(std::span<const std::byte> resource, std::string_view name) {
    if (!is_complete(resource)) return failed("VerQueryValueA", name);
    // A copy, because the query may write to what it is given.
    const std::vector<std::byte> own(resource.begin(), resource.end());
    void* value = nullptr;
    UINT size = 0;
    if (!VerQueryValueA(own.data(), "\\", &value, &size) || value == nullptr ||
        size < sizeof(VS_FIXEDFILEINFO))
        return failed("VerQueryValueA", name);
    const auto* const start = static_cast<const std::byte*>(value);
    if (start < own.data() || start + sizeof(VS_FIXEDFILEINFO) > own.data() + own.size())
        return failed("VerQueryValueA", name);
    VS_FIXEDFILEINFO info = {};
    std::memcpy(&info, value, sizeof(info));
    return {HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS), HIWORD(info.dwFileVersionLS),
            LOWORD(info.dwFileVersionLS)};
}

software_version read_module_version(void* module, std::string_view name) {
    const auto handle = static_cast<HMODULE>(module);
    const HRSRC resource = FindResourceA(handle, MAKEINTRESOURCEA(1), MAKEINTRESOURCEA(16)); // RT_VERSION
    if (resource == nullptr) return failed("FindResource", name);
    const HGLOBAL loaded = LoadResource(handle, resource);
    if (loaded == nullptr) return failed("LoadResource", name);
    const void* const bytes = LockResource(loaded);
    if (bytes == nullptr) return failed("LockResource", name);
    const DWORD size = SizeofResource(handle, resource);
    if (size == 0) return failed("SizeofResource", name);
    return read_version_resource({static_cast<const std::byte*>(bytes), size}, name);
}

} // namespace QV
