#include <QVSharedSupport/software_version.h>

#include "module_version.h"

#include <QVLog/QVLog.h>
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
