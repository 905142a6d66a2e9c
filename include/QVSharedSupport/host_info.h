/// Facts about the computer the program runs on, one function each.
///
///     using namespace QV::SharedSupport;
///     report.add("system", get_os_version() + " on " + get_os_arch());
///     if (const auto addresses = get_local_ip_addresses())
///         for (const auto& address : addresses.value()) report.add("address", address.to_string());
///     else
///         report.add("address", addresses.error().message());
///
/// Every call asks the system anew and nothing is kept: keep what is needed often. Beside what is said at
/// each function, a text or a list throws std::bad_alloc when there is no memory for it. Nothing here logs.
///
/// Thread safety: any thread at any time. Windows only. The last part can be included from C.
#ifndef QVSHAREDSUPPORT_HOST_INFO_H
#define QVSHAREDSUPPORT_HOST_INFO_H

#include <QVSharedSupport/export.h>

#ifdef __cplusplus

#include <CFAdapters/String.h>

#include <boost/asio/ip/address.hpp>
#include <boost/outcome/result.hpp>
#include <boost/system/error_code.hpp>

#include <optional>
#include <string>
#include <vector>

namespace QV {
namespace SharedSupport {

/// How wide the addresses of the system are that the library was built for.
enum class OSBitness {
    bits_32 = 1, ///< never reported: there is no such build
    bits_64 = 2, ///< 64 bits
};

/// The kind of system that the library was built for.
enum class OSFamily {
    mac = 1,     ///< never reported: there is no such build
    windows = 2, ///< Windows
};

/// What the system answers, or the code of the call that failed.
template <class T>
using system_result = boost::outcome_v2::result<T, boost::system::error_code>;

/// The processor's own architecture, whatever the program was built for: "AMD64", "ARM64", "I386", "ARM" or
/// "ARMNT"; "UNKNOWN" when the system does not know, and "UNKNOWN512" for a machine number, 512 here, that
/// has no name. A system too old to be asked, before Windows 10 1511, is "AMD64". Does not block.
[[nodiscard]] QV_EXPORT std::string get_os_arch();

/// The version of Windows, "10.0.19041.3636": what is true, not what Windows tells programs that it deems
/// old.
///
/// It is the file version of kernel32.dll; reads the disk.
/// @throws std::runtime_error "Failed to read info from kernel32.dll" or "Failed to get version"
[[nodiscard]] QV_EXPORT std::string get_os_version();

/// Always `bits_64`: fixed when the library is built.
[[nodiscard]] QV_EXPORT OSBitness get_os_bitness() noexcept;

/// Always `windows`: fixed when the library is built.
[[nodiscard]] QV_EXPORT OSFamily get_os_family() noexcept;

/// The hardware address of a network adapter, "00:1A:2B:3C:4D:5E": the one that tells computers apart.
///
/// Of all adapters that have an address the last in the system's list is taken. One that has the same address
/// on every computer (02:50:F2:00:00:01, a virtual adapter) is passed over, unless it is the first of the
/// list and no other has an address. Waits for a system service.
/// @throws std::runtime_error "Failed to get adapters", "No adapters", or "Failed to get MAC address" when no
///         adapter has an address
[[nodiscard]] QV_EXPORT std::string get_primary_mac_address();

/// The addresses under which other computers may reach this one, IPv4 and IPv6, adapter by adapter in the
/// system's order; one that two adapters have comes twice.
///
/// Loopback, link-local (169.254.0.0/16, fe80::/10) and unspecified addresses are left out. An IPv4 address
/// written as IPv6 ("::ffff:127.0.0.1") counts as IPv6 and stays. Waits for a system service.
/// @return the addresses, perhaps none, or the error of the system call: without any adapter that is
///         `ERROR_NO_DATA`
[[nodiscard]] QV_EXPORT system_result<std::vector<boost::asio::ip::address>> get_local_ip_addresses();

} // namespace SharedSupport

/// What the maker says of a computer.
struct hardware_info {
    std::string manufacturer; ///< "LENOVO"; empty when unknown
    std::string model;        ///< "20XW00FHUS"; empty when unknown
};

/// Manufacturer and model of this computer, from the system's management service; what cannot be had is
/// empty.
///
/// It needs COM in the single-threaded mode and sets that up on the calling thread for the length of the
/// call; on a thread that has COM in the multi-threaded mode both texts are empty. Blocks until the service
/// answers, perhaps for seconds: not for a thread that has a window.
[[nodiscard]] QV_EXPORT hardware_info get_hardware_info() noexcept;

/// Whether the program runs translated for another processor: no value, because Windows has no such thing as
/// Rosetta to be asked.
[[nodiscard]] QV_EXPORT std::optional<bool> is_running_rosetta_translated() noexcept;

} // namespace QV

// C linkage is for the plain name in the DLL; the result makes it a function for C++ all the same, and that
// is meant.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#elif defined(_MSC_VER)
#pragma warning(push)
#pragma warning(disable : 4190)
#endif

/// The security identifier of the user the process runs as, "S-1-5-21-...-1001". Does not block.
///
/// @throws QV::win32_error "OpenProcessToken", "GetTokenInformation(process_token, TokenUser)",
///         "ConvertSidToStringSidA", or "ConvertSidToStringSid indicated success but returned NULL"
extern "C" [[nodiscard]] QV_EXPORT CF::String QXSystemGetUserIdentifier();

#if defined(__clang__)
#pragma clang diagnostic pop
#elif defined(_MSC_VER)
#pragma warning(pop)
#endif

extern "C" {
#else
#include <stdbool.h>
#endif

/// Whether Windows 7 is set to look for drivers on Windows Update by itself ("SearchOrderConfig" is 1).
///
/// False on Windows 8 and later, where the setting has no effect, and when it cannot be read. Does not block
/// and never throws.
QV_EXPORT bool QXSystemSettingIsWin7AutoDriverDownloadEnabled(void);

#ifdef __cplusplus
}
#endif

#endif
