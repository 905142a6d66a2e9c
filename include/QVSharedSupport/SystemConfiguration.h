/// The system report for a diagnostics bundle, and what a host asks about sharing this computer's network.
#pragma once

#include <QVSharedSupport/auto_update.h>
#include <QVSharedSupport/export.h>
#include <QVSharedSupport/filesystem.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <unordered_map>

namespace QV::SystemConfiguration {

/// How a device shares this computer's network connection.
struct DeviceTetheringStatus {
    bool paired = false;                 ///< the device trusts this computer
    bool bridged = false;                ///< its interface is part of the bridge
    bool tethered = false;               ///< it uses this computer's connection
    std::uint32_t check_in_attempts = 0; ///< how often it was asked to report
    bool checked_in = false;             ///< it has reported
    std::uint64_t location_id = 0;       ///< the USB port
    std::string name;                    ///< in UTF-8
    std::string serial_number;
};

/// Whether every field is equal; strings by length and bytes. Any thread may call it.
[[nodiscard]] QV_EXPORT bool operator==(const DeviceTetheringStatus& left,
                                        const DeviceTetheringStatus& right);

/// What this computer caches for devices.
struct AppleCachingServiceStatus {
    std::uint32_t activation = 0;                                ///< 0: not activated
    std::uint32_t startup = 0;                                   ///< 0: not started
    std::unordered_map<std::string, std::uint64_t> cached_bytes; ///< by kind of content
};

/// "SystemInfo.nfo": a bare name, so that a report made under it lands in the current folder. Does not block.
/// @throws std::bad_alloc
[[nodiscard]] QV_EXPORT filesystem::path GetDefaultSystemReportFilename();

/// Writes the report of the system's own tool `msinfo32` to the file `report`, and blocks until it is there.
///
///     const auto file = folder / QV::SystemConfiguration::GetDefaultSystemReportFilename();
///     QV::SystemConfiguration::CreateSystemReportFile(file, std::chrono::minutes(5));
///
/// A report takes the tool a minute or so. A relative name counts from the current folder. The tool's word is
/// taken for it: an exit code of 0 is success, and whether there is a file is not looked at, because the tool
/// adds ".nfo" to a name without that ending. What it writes to its standard streams is read and dropped.
///
/// When `timeout` has passed the tool is killed. On return, normal or not, it has ended and the thread that
/// looked after it is gone; programs that the tool itself may have started are not touched. A time-out of 0
/// or less starts nothing. There is no longest one.
///
/// Thread safety: any thread, also several at once; two calls with the same `report` race for the file.
/// Success is logged at level 2 ("System").
/// @throws std::runtime_error "Failed to complete system report task before timeout"
/// @throws std::runtime_error "Failed to launch system report task: " and the reason, when the tool could not
///     be started or watched; a name that holds a NUL or is not UTF-16 is such a reason
/// @throws std::runtime_error "System report task reported failure: " followed by
///     - "While waiting for msinfo32 to exit: ", "While reading msinfo32's output: " or "While reading
///       msinfo32 error output: " and the system's text;
///     - "Could not get return code from msinfo32", also when that is 259, which reads as still running;
///     - "msinfo32 exited with error " and the exit code.
QV_EXPORT void CreateSystemReportFile(const filesystem::path& report, std::chrono::nanoseconds timeout);

/// Whether this computer can share its connection with devices: never on this platform. Does not block.
[[nodiscard]] QV_EXPORT bool IsSystemEligibleForDeviceTethering() noexcept;

/// The devices that share the connection, by identifier: none on this platform. Does not block.
[[nodiscard]] QV_EXPORT std::unordered_map<std::string, DeviceTetheringStatus> GetTetheredDeviceStatus();

/// The state of the caching service, which this platform does not have: zeros and an empty map. Does not
/// block.
[[nodiscard]] QV_EXPORT AppleCachingServiceStatus GetAppleCachingServiceStatus();

/// The folder that the host's resources are looked for in: the current folder of the process. Empty if the
/// system cannot name it. Does not block. @throws std::bad_alloc
[[nodiscard]] QV_EXPORT filesystem::path get_resources_path();

} // namespace QV::SystemConfiguration
