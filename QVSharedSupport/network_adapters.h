#pragma once

#include <QVSharedSupport/host_info.h>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <iphlpapi.h>

#include <optional>
#include <string>
#include <vector>

/// What is made of the system's lists of network adapters.
namespace QV::network_adapters {

/// The calls that give the lists, so that a test can give its own, or none.
struct calls {
    decltype(&GetAdaptersInfo) get_info;
    decltype(&GetAdaptersAddresses) get_addresses;
};

/// The calls of the system.
extern const calls system_calls;

/// The adapter whose hardware address stands for the computer: the last that has one of its own; the first of
/// the list where none has. `first` is not null.
const IP_ADAPTER_INFO& primary(const IP_ADAPTER_INFO* first) noexcept;

/// The hardware address as text, "00:1A:2B"; empty if the adapter has none.
std::string mac_text(const IP_ADAPTER_INFO& adapter);

/// The address in a socket address; no value for other families than IPv4 and IPv6, and for one that is
/// absent or cut short.
std::optional<boost::asio::ip::address> to_address(const SOCKET_ADDRESS& socket_address) noexcept;

/// Whether other computers may reach this one under the address: it is neither loopback, nor link-local, nor
/// unspecified.
bool is_reachable(const boost::asio::ip::address& address) noexcept;

/// The reachable addresses of a list of adapters, in its order.
std::vector<boost::asio::ip::address> reachable_addresses(const IP_ADAPTER_ADDRESSES* first);

/// `get_primary_mac_address` by these calls. @throws std::runtime_error as that
std::string primary_mac_address(const calls& calls);

/// `get_local_ip_addresses` by these calls.
SharedSupport::system_result<std::vector<boost::asio::ip::address>> local_ip_addresses(const calls& calls);

} // namespace QV::network_adapters
