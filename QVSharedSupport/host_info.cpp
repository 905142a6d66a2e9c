#include <QVSharedSupport/host_info.h>

#include "driver_download_setting.h"
#include "hardware_info.h"
#include "network_adapters.h"
#include "os_architecture.h"
#include "os_version.h"
#include "user_identifier.h"

namespace QV {
namespace SharedSupport {

std::string get_os_arch() {
    return os_arch(system_module_calls);
}

std::string get_os_version() {
    return os_version(system_file_version_calls);
}

OSBitness get_os_bitness() noexcept {
    return OSBitness::bits_64;
}

OSFamily get_os_family() noexcept {
    return OSFamily::windows;
}

std::string get_primary_mac_address() {
    return network_adapters::primary_mac_address(network_adapters::system_calls);
}

system_result<std::vector<boost::asio::ip::address>> get_local_ip_addresses() {
    return network_adapters::local_ip_addresses(network_adapters::system_calls);
}

} // namespace SharedSupport

hardware_info get_hardware_info() noexcept {
    return query_hardware(system_com_calls);
}

std::optional<bool> is_running_rosetta_translated() noexcept {
    return std::nullopt;
}

} // namespace QV

// The header says why.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#elif defined(_MSC_VER)
#pragma warning(disable : 4190)
#endif

CF::String QXSystemGetUserIdentifier() {
    return CF::String(QV::user_identifier(QV::system_token_calls));
}

bool QXSystemSettingIsWin7AutoDriverDownloadEnabled() {
    return QV::auto_driver_download_enabled(&VerifyVersionInfoW);
}
