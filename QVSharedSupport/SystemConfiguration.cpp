#include <QVSharedSupport/SystemConfiguration.h>

#include <boost/filesystem/operations.hpp>

bool QXAutoUpdatePreflight() {
    return true;
}

namespace QV::SystemConfiguration {

bool operator==(const DeviceTetheringStatus& left, const DeviceTetheringStatus& right) {
    return left.paired == right.paired && left.bridged == right.bridged && left.tethered == right.tethered &&
           left.check_in_attempts == right.check_in_attempts && left.checked_in == right.checked_in &&
           left.location_id == right.location_id && left.name == right.name &&
           left.serial_number == right.serial_number;
}

filesystem::path GetDefaultSystemReportFilename() {
    return "SystemInfo.nfo";
}

bool IsSystemEligibleForDeviceTethering() noexcept {
    return false;
}

std::unordered_map<std::string, DeviceTetheringStatus> GetTetheredDeviceStatus() {
    return {};
}

AppleCachingServiceStatus GetAppleCachingServiceStatus() {
    return {};
}

filesystem::path get_resources_path() {
    boost::system::error_code none; // a folder that cannot be named is an empty path
    return boost::filesystem::current_path(none);
}

} // namespace QV::SystemConfiguration
