#include <QVSharedSupport/software_version.h>

#include "module_version.h"
#include "utf.h"

#include <QVLog/QVLog.h>
#include <QVPlatformCompatibility/win32_error.h>
#include <RuntimeLocator/mds_path.h>

#include <windows.h>

#include <exception>
#include <string>

namespace QV {
namespace {

void log_failure(std::string_view call, std::string_view module, std::string_view reason) {
    Logging::get_logger("System").log(Logging::log_level::error, "{} failed for module '{}': {}", call,
                                      module, reason);
}

/// What `read` gives; the unknown version, and a line in the log, if it throws.
template <class Function>
software_version or_unknown(const char* name, Function read) noexcept {
    try {
        return read();
    } catch (const std::exception& failure) {
        try {
            Logging::get_logger("System").log(Logging::log_level::error,
                                              "Reading the version of module '{}' failed: {}", name,
                                              failure.what());
        } catch (...) {
            // No memory for so much as a logger: there is nothing left to say it with.
            return {};
        }
    } catch (...) {
        return {};
    }
    return {};
}

std::string utf8(const std::filesystem::path& path) {
    const std::wstring& native = path.native();
    return utf::to_utf8(std::u16string(native.begin(), native.end()), utf::mode::lenient);
}

} // namespace

software_version get_framework_version(const char* name) noexcept {
    const char* const shown = name != nullptr ? name : "";
    return or_unknown(shown, [&]() -> software_version {
        const HMODULE module = GetModuleHandleA(name);
        if (module == nullptr) {
            log_failure("GetModuleHandleA", shown, get_last_error_string());
            return {};
        }
        return read_module_version(module, shown);
    });
}

software_version get_framework_version(std::string_view name) noexcept {
    return or_unknown("", [&] { return get_framework_version(std::string(name).c_str()); });
}

software_version get_mobile_device_version() noexcept {
    constexpr const char* file_name = "MobileDevice.dll";
    return or_unknown(file_name, [&]() -> software_version {
        const std::filesystem::path path = RuntimeLocator::get_mds_path() / file_name;
        const std::string shown = utf8(path);
        // Mapped for its resources only, so none of its code runs and it may be for any processor.
        const HMODULE module =
            LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
        if (module == nullptr) {
            log_failure("LoadLibraryExW", shown, get_last_error_string());
            return {};
        }
        const software_version version =
            or_unknown(file_name, [&] { return read_module_version(module, shown); });
        if (!FreeLibrary(module)) log_failure("FreeLibrary", shown, get_last_error_string());
        return version;
    });
}

} // namespace QV
