#include "network_adapters.h"

#include <QVMath/b16_encode.h>
#include <device_host_error/windows_error.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <span>
#include <stdexcept>

namespace QV::network_adapters {
namespace {

/// What a call has written into a buffer of the size it asked for, and its last answer.
struct list {
    ULONG error = ERROR_SUCCESS;
    std::vector<std::byte> bytes;

    /// The first element; null if nothing was written.
    template <class T>
    [[nodiscard]] const T* first() const noexcept {
        const void* const start = bytes.data();
        return bytes.empty() ? nullptr : static_cast<const T*>(start);
    }
};

/// Calls `ask(buffer, size)` until the list fits: adapters may come between two calls.
template <class Function>
list read_list(Function ask) {
    list read;
    ULONG size = 0;
    read.error = ask(nullptr, &size);
    while (read.error == ERROR_BUFFER_OVERFLOW) {
        read.bytes.resize(size);
        read.error = ask(read.bytes.data(), &size);
    }
    return read;
}

std::span<const BYTE> address_of(const IP_ADAPTER_INFO& adapter) noexcept {
    return {&adapter.Address[0], std::min<std::size_t>(adapter.AddressLength, std::size(adapter.Address))};
}

/// The address of a virtual adapter, the same on all computers that have it.
bool is_shared(std::span<const BYTE> address) noexcept {
    static constexpr std::array<BYTE, 6> shared = {0x02, 0x50, 0xF2, 0x00, 0x00, 0x01};
    return std::ranges::equal(address, shared);
}

template <class T>
std::optional<T> read_as(const SOCKET_ADDRESS& socket_address) noexcept {
    if (socket_address.iSockaddrLength < static_cast<INT>(sizeof(T))) return std::nullopt;
    T value = {};
    std::memcpy(&value, socket_address.lpSockaddr, sizeof(value));
    return value;
}

} // namespace

const calls system_calls = {&GetAdaptersInfo, &GetAdaptersAddresses};

const IP_ADAPTER_INFO& primary(const IP_ADAPTER_INFO* first) noexcept {
    const IP_ADAPTER_INFO* chosen = first;
    // The last one, not the first: identifiers of computers in the field were made from it.
    for (const IP_ADAPTER_INFO* adapter = first; adapter != nullptr; adapter = adapter->Next)
        if (adapter->AddressLength != 0 && !is_shared(address_of(*adapter))) chosen = adapter;
    return *chosen;
}

std::string mac_text(const IP_ADAPTER_INFO& adapter) {
    std::string text;
    for (const BYTE byte : address_of(adapter)) {
        text += b16_encode(byte / 16U);
        text += b16_encode(byte & 0x0FU);
        text += ':';
    }
    if (!text.empty()) text.pop_back();
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::optional<boost::asio::ip::address> to_address(const SOCKET_ADDRESS& socket_address) noexcept {
    // The family comes first in each of them.
    if (socket_address.lpSockaddr == nullptr ||
        socket_address.iSockaddrLength < static_cast<INT>(sizeof(ADDRESS_FAMILY)))
        return std::nullopt;
    ADDRESS_FAMILY family = AF_UNSPEC;
    std::memcpy(&family, socket_address.lpSockaddr, sizeof(family));
    if (family == AF_INET) {
        const auto v4 = read_as<sockaddr_in>(socket_address);
        if (!v4) return std::nullopt;
        return boost::asio::ip::address_v4(ntohl(v4->sin_addr.s_addr));
    }
    if (family == AF_INET6) {
        const auto v6 = read_as<sockaddr_in6>(socket_address);
        if (!v6) return std::nullopt;
        boost::asio::ip::address_v6::bytes_type bytes = {};
        std::memcpy(bytes.data(), &v6->sin6_addr, bytes.size());
        return boost::asio::ip::address_v6(bytes, v6->sin6_scope_id);
    }
    return std::nullopt;
}

bool is_reachable(const boost::asio::ip::address& address) noexcept {
    if (address.is_loopback() || address.is_unspecified()) return false;
    if (address.is_v4()) {
        const auto bytes = address.to_v4().to_bytes();
        return !(bytes[0] == 169 && bytes[1] == 254);
    }
    return !address.to_v6().is_link_local();
}

std::vector<boost::asio::ip::address> reachable_addresses(const IP_ADAPTER_ADDRESSES* first) {
    std::vector<boost::asio::ip::address> addresses;
    for (const IP_ADAPTER_ADDRESSES* adapter = first; adapter != nullptr; adapter = adapter->Next)
        for (const auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next)
            if (const auto address = to_address(unicast->Address); address && is_reachable(*address))
                addresses.push_back(*address);
    return addresses;
}

std::string primary_mac_address(const calls& calls) {
    const list adapters = read_list([&](void* buffer, ULONG* size) {
        return calls.get_info(static_cast<IP_ADAPTER_INFO*>(buffer), size);
    });
    if (adapters.error != ERROR_SUCCESS) throw std::runtime_error("Failed to get adapters");
    const auto* const first = adapters.first<IP_ADAPTER_INFO>();
    if (first == nullptr) throw std::runtime_error("No adapters");
    std::string text = mac_text(primary(first));
    if (text.empty()) throw std::runtime_error("Failed to get MAC address");
    return text;
}

SharedSupport::system_result<std::vector<boost::asio::ip::address>> local_ip_addresses(const calls& calls) {
    const list adapters = read_list([&](void* buffer, ULONG* size) {
        return calls.get_addresses(AF_UNSPEC, 0, nullptr, static_cast<IP_ADAPTER_ADDRESSES*>(buffer), size);
    });
    if (adapters.error != ERROR_SUCCESS) return libhostdevice::windows::make_error_code(adapters.error);
    return reachable_addresses(adapters.first<IP_ADAPTER_ADDRESSES>());
}

} // namespace QV::network_adapters
