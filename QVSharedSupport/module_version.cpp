#include "module_version.h"

#include "utf.h"

#include <QVLog/QVLog.h>
#include <QVPlatformCompatibility/win32_error.h>

#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace QV {
namespace {

software_version failed(std::string_view call, std::string_view name) {
    log_version_failure(call, name);
    return {};
}

/// What every block of a version resource begins with.
struct block_header {
    WORD length; ///< of the whole block, in bytes
    WORD value_length;
    WORD type; ///< 0 for a binary value, 1 for text
};

/// Whether the resource is as long as it says, and begins as all of them do. Windows believes it, and would
/// read past the end of a cut one; one that begins otherwise it takes for that of a 16-bit module and looks
/// in it for the end of a text.
bool is_complete(std::span<const std::byte> resource) noexcept {
    constexpr std::u16string_view key(u"VS_VERSION_INFO\0", 16);
    // The header, its key with the NUL, padding to four bytes, and the value.
    constexpr std::size_t least =
        sizeof(block_header) + key.size() * sizeof(char16_t) + 2 + sizeof(VS_FIXEDFILEINFO);
    if (resource.size() < least) return false;
    block_header header = {};
    std::memcpy(&header, resource.data(), sizeof(header));
    return header.length <= resource.size() && header.type <= 1 &&
           std::memcmp(resource.data() + sizeof(header), key.data(), key.size() * sizeof(char16_t)) == 0;
}

software_version read_version_resource(std::span<const std::byte> resource, std::string_view name,
                                       const module_calls& calls) {
    if (!is_complete(resource)) return failed("VerQueryValueA", name);
    // A copy, because the query may write to what it is given.
    const std::vector<std::byte> own(resource.begin(), resource.end());
    void* value = nullptr;
    UINT size = 0;
    if (!calls.query_value(own.data(), "\\", &value, &size) || value == nullptr ||
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

/// Whether all those bytes can be read. Of a file that was cut, less is mapped than its resource table says.
bool is_mapped(const void* bytes, std::size_t size) noexcept {
    const auto* at = static_cast<const std::byte*>(bytes);
    const auto* const end = at + size;
    while (at < end) {
        MEMORY_BASIC_INFORMATION region = {};
        if (VirtualQuery(at, &region, sizeof(region)) == 0 || region.State != MEM_COMMIT ||
            (region.Protect & (PAGE_NOACCESS | PAGE_GUARD)) != 0)
            return false;
        at = static_cast<const std::byte*>(region.BaseAddress) + region.RegionSize;
    }
    return true;
}

/// Ends the mapping of a file, and logs if that fails.
class mapping {
public:
    mapping(HMODULE module, const std::string& name, const module_calls& calls) noexcept
        : module_(module), name_(name), calls_(calls) {}
    mapping(const mapping&) = delete;
    mapping& operator=(const mapping&) = delete;
    ~mapping() {
        if (calls_.free_library(module_)) return;
        try {
            log_version_failure("FreeLibrary", name_, get_last_error_string());
        } catch (...) { // NOLINT(bugprone-empty-catch): no memory to say it with; the version is there
        }
    }

private:
    HMODULE module_;
    const std::string& name_;
    const module_calls& calls_;
};

std::string utf8(const std::filesystem::path& path) {
    const std::wstring& native = path.native();
    return utf::to_utf8(std::u16string(native.begin(), native.end()), utf::mode::lenient);
}

} // namespace

void log_version_failure(std::string_view call, std::string_view module) {
    Logging::get_logger("System").log(Logging::log_level::error, "{} failed for module '{}'", call, module);
}

void log_version_failure(std::string_view call, std::string_view module, std::string_view reason) {
    Logging::get_logger("System").log(Logging::log_level::error, "{} failed for module '{}': {}", call,
                                      module, reason);
}

software_version read_module_version(HMODULE module, std::string_view name, const module_calls& calls) {
    const HRSRC resource =
        calls.find_resource(module, MAKEINTRESOURCEA(1), MAKEINTRESOURCEA(16)); // RT_VERSION
    if (resource == nullptr) return failed("FindResource", name);
    const HGLOBAL loaded = calls.load_resource(module, resource);
    if (loaded == nullptr) return failed("LoadResource", name);
    const void* const bytes = calls.lock_resource(loaded);
    if (bytes == nullptr) return failed("LockResource", name);
    const DWORD size = calls.sizeof_resource(module, resource);
    if (size == 0 || !is_mapped(bytes, size)) return failed("SizeofResource", name);
    return read_version_resource({static_cast<const std::byte*>(bytes), size}, name, calls);
}

software_version read_file_version(const std::filesystem::path& file, const module_calls& calls) {
    const std::string shown = utf8(file);
    // Mapped for its resources only, so none of its code runs and it may be for any processor.
    const HMODULE module =
        calls.load_library(file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    if (module == nullptr) {
        log_version_failure("LoadLibraryExW", shown, get_last_error_string());
        return {};
    }
    const mapping mapped(module, shown, calls);
    return read_module_version(module, shown, calls);
}

} // namespace QV
