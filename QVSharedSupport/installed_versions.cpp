#include <QVSharedSupport/software_version.h>

#include "module_version.h"
#include "try_log.h"

#include <QVPlatformCompatibility/win32_error.h>
#include <RuntimeLocator/mds_path.h>

#include <exception>
#include <string>

namespace QV {
namespace {

/// What `read` gives; the unknown version, and a line in the log, if it throws.
template <class Function>
software_version or_unknown(const char* name, Function read) noexcept {
    try {
        return read();
    } catch (const std::exception& failure) {
        try_log("System", Logging::log_level::error, "Reading the version of module '{}' failed: {}", name,
                failure.what());
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nothing to be said of it
    }
    return {};
}

} // namespace

software_version get_framework_version(const char* name) noexcept {
    const char* const shown = name != nullptr ? name : "";
    return or_unknown(shown, [&]() -> software_version {
        const HMODULE module = GetModuleHandleA(name);
        if (module == nullptr) {
            log_version_failure("GetModuleHandleA", shown, get_last_error_string());
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
    return or_unknown(file_name,
                      [&] { return read_file_version(RuntimeLocator::get_mds_path() / file_name); });
}

} // namespace QV
