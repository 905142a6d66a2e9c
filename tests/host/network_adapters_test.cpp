#include "network_adapters.h"

#include "../json/expect_throw_with.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace adapters = QV::network_adapters;
using boost::asio::ip::make_address;
using qv_test::expect_throw_with;
using testing::ElementsAre;
using testing::IsEmpty;

using mac = std::vector<BYTE>;
const mac shared = {0x02, 0x50, 0xF2, 0x00, 0x00, 0x01};
const mac one = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
const mac two = {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54};

/// A list of adapters with these hardware addresses.
std::vector<IP_ADAPTER_INFO> adapter_list(std::initializer_list<mac> addresses) {
    std::vector<IP_ADAPTER_INFO> list(addresses.size());
    auto adapter = list.begin();
    for (const mac& address : addresses) {
        adapter->AddressLength = static_cast<UINT>(address.size());
        std::ranges::copy(address, adapter->Address);
        adapter->Next = adapter + 1 == list.end() ? nullptr : &adapter[1];
        ++adapter;
    }
    return list;
}

std::string chosen(std::initializer_list<mac> addresses) {
    const std::vector<IP_ADAPTER_INFO> list = adapter_list(addresses);
    return adapters::mac_text(adapters::primary(list.data()));
}

TEST(primary_adapter, is_the_last_that_has_an_address) {
    EXPECT_EQ(chosen({one}), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(chosen({one, two}), "FE:DC:BA:98:76:54");
    EXPECT_EQ(chosen({two, one}), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(chosen({one, {}, two, {}}), "FE:DC:BA:98:76:54");
    EXPECT_EQ(chosen({{}, one, {}}), "00:1A:2B:3C:4D:5E");
}

TEST(primary_adapter, is_not_one_with_the_address_that_all_computers_have) {
    EXPECT_EQ(chosen({one, shared}), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(chosen({shared, one}), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(chosen({one, shared, two, shared}), "FE:DC:BA:98:76:54");
    EXPECT_EQ(chosen({{}, shared}), "");
}

TEST(primary_adapter, is_the_first_where_none_qualifies) {
    EXPECT_EQ(chosen({shared}), "02:50:F2:00:00:01");
    EXPECT_EQ(chosen({shared, {}, shared}), "02:50:F2:00:00:01");
    EXPECT_EQ(chosen({{}, {}}), "");
}

TEST(primary_adapter, is_passed_over_for_exactly_those_six_bytes) {
    EXPECT_EQ(chosen({one, {0x02, 0x50, 0xF2, 0x00, 0x00, 0x02}}), "02:50:F2:00:00:02");
    EXPECT_EQ(chosen({one, {0x03, 0x50, 0xF2, 0x00, 0x00, 0x01}}), "03:50:F2:00:00:01");
    EXPECT_EQ(chosen({one, {0x02, 0x50, 0xF2, 0x00, 0x00}}), "02:50:F2:00:00");
    EXPECT_EQ(chosen({one, {0x02, 0x50, 0xF2, 0x00, 0x00, 0x01, 0x00}}), "02:50:F2:00:00:01:00");
}

TEST(mac_text, has_two_upper_case_digits_a_byte) {
    EXPECT_EQ(chosen({{0x00}}), "00");
    EXPECT_EQ(chosen({{0x0A, 0xA0}}), "0A:A0");
    EXPECT_EQ(chosen({{0xFF, 0xEE, 0xDD, 0xCC, 0xBB, 0xAA, 0x99, 0x10}}), "FF:EE:DD:CC:BB:AA:99:10");
}

TEST(mac_text, never_reads_beyond_the_field) {
    IP_ADAPTER_INFO adapter = {};
    adapter.AddressLength = 5000;
    EXPECT_EQ(adapters::mac_text(adapter), "00:00:00:00:00:00:00:00");
}

/// The fake system: what it answers call by call, and the list it writes at last.
struct {
    std::deque<ULONG> errors;
    std::vector<ULONG> needed;
    std::vector<ULONG> given;
    std::vector<IP_ADAPTER_INFO> infos;
    std::vector<IP_ADAPTER_ADDRESSES> addresses;
} fake;

template <class T>
ULONG answer(std::vector<T>& list, T* buffer, ULONG* size) {
    fake.given.push_back(buffer == nullptr ? 0 : *size);
    const ULONG error = fake.errors.front();
    fake.errors.pop_front();
    if (error == ERROR_BUFFER_OVERFLOW) {
        *size = fake.needed.front();
        fake.needed.erase(fake.needed.begin());
        return error;
    }
    if (error != ERROR_SUCCESS || list.empty()) return error;
    EXPECT_GE(*size, list.size() * sizeof(T));
    for (std::size_t i = 0; i != list.size(); ++i) {
        buffer[i] = list[i];
        buffer[i].Next = i + 1 == list.size() ? nullptr : &buffer[i + 1];
    }
    return error;
}

ULONG WINAPI get_info(IP_ADAPTER_INFO* buffer, ULONG* size) {
    return answer(fake.infos, buffer, size);
}

ULONG WINAPI get_addresses(ULONG family, ULONG flags, PVOID, IP_ADAPTER_ADDRESSES* buffer, ULONG* size) {
    EXPECT_EQ(family, static_cast<ULONG>(AF_UNSPEC));
    EXPECT_EQ(flags, 0U);
    return answer(fake.addresses, buffer, size);
}

constexpr adapters::calls fake_calls = {&get_info, &get_addresses};

std::string primary_mac_address() {
    return adapters::primary_mac_address(fake_calls);
}

class primary_mac_address_of_calls : public testing::Test {
protected:
    void SetUp() override { fake = {}; }
};

TEST_F(primary_mac_address_of_calls, asks_until_the_list_fits) {
    const auto size = static_cast<ULONG>(sizeof(IP_ADAPTER_INFO));
    fake.infos = adapter_list({one, two});
    fake.errors = {ERROR_BUFFER_OVERFLOW, ERROR_BUFFER_OVERFLOW, ERROR_SUCCESS};
    fake.needed = {size, 2 * size};
    EXPECT_EQ(primary_mac_address(), "FE:DC:BA:98:76:54");
    EXPECT_THAT(fake.given, ElementsAre(0U, size, 2 * size));
}

TEST_F(primary_mac_address_of_calls, fails_with_the_system) {
    for (const long error : {ERROR_NO_DATA, ERROR_NOT_SUPPORTED, ERROR_INVALID_PARAMETER}) {
        fake.errors = {static_cast<ULONG>(error)};
        expect_throw_with<std::runtime_error>("Failed to get adapters", &primary_mac_address);
        fake.errors = {ERROR_BUFFER_OVERFLOW, static_cast<ULONG>(error)};
        fake.needed = {1000};
        expect_throw_with<std::runtime_error>("Failed to get adapters", &primary_mac_address);
        EXPECT_TRUE(fake.errors.empty());
    }
}

TEST_F(primary_mac_address_of_calls, needs_an_adapter) {
    fake.errors = {ERROR_SUCCESS};
    expect_throw_with<std::runtime_error>("No adapters", &primary_mac_address);
}

TEST_F(primary_mac_address_of_calls, needs_an_adapter_with_an_address) {
    fake.infos = adapter_list({{}, {}});
    fake.errors = {ERROR_BUFFER_OVERFLOW, ERROR_SUCCESS};
    fake.needed = {static_cast<ULONG>(2 * sizeof(IP_ADAPTER_INFO))};
    expect_throw_with<std::runtime_error>("Failed to get MAC address", &primary_mac_address);
}

/// A socket address of the system with what it points to.
struct socket_address {
    socket_address() = default;
    explicit socket_address(const char* text) {
        const auto address = make_address(text);
        if (address.is_v4()) {
            sockaddr_in v4 = {};
            v4.sin_family = AF_INET;
            v4.sin_addr.s_addr = htonl(address.to_v4().to_uint());
            set(v4);
        } else {
            sockaddr_in6 v6 = {};
            v6.sin6_family = AF_INET6;
            const auto bytes = address.to_v6().to_bytes();
            std::memcpy(&v6.sin6_addr, bytes.data(), bytes.size());
            v6.sin6_scope_id = static_cast<ULONG>(address.to_v6().scope_id());
            set(v6);
        }
    }
    template <class T>
    void set(const T& value) {
        std::memcpy(&storage, &value, sizeof(value));
        length = static_cast<INT>(sizeof(value));
    }
    SOCKET_ADDRESS get() {
        void* const address = &storage;
        return {static_cast<sockaddr*>(address), length};
    }

    sockaddr_storage storage = {};
    INT length = 0;
};

TEST(to_address, takes_both_families) {
    for (const char* const text : {"192.0.2.7", "127.0.0.1", "0.0.0.0", "255.255.255.255", "2001:db8::7",
                                   "::1", "::", "fe80::1234%7", "::ffff:192.0.2.7", "ff02::1"}) {
        socket_address address(text);
        EXPECT_EQ(adapters::to_address(address.get()), make_address(text)) << text;
    }
}

TEST(to_address, skips_other_families) {
    for (const int family : {AF_UNSPEC, AF_UNIX, AF_IPX, AF_NETBIOS, 65535}) {
        socket_address address("192.0.2.7");
        address.storage.ss_family = static_cast<decltype(address.storage.ss_family)>(family);
        EXPECT_EQ(adapters::to_address(address.get()), std::nullopt) << family;
    }
}

TEST(to_address, skips_what_is_absent_or_cut_short) {
    EXPECT_EQ(adapters::to_address({nullptr, 0}), std::nullopt);
    EXPECT_EQ(adapters::to_address({nullptr, sizeof(sockaddr_in)}), std::nullopt);
    for (const char* const text : {"192.0.2.7", "2001:db8::7"}) {
        socket_address address(text);
        const INT whole = address.length;
        for (const INT length : {0, 1, 2, whole - 1, -1}) {
            address.length = length;
            EXPECT_EQ(adapters::to_address(address.get()), std::nullopt) << text << " " << length;
        }
    }
}

TEST(is_reachable, leaves_out_loopback_link_local_and_unspecified) {
    for (const char* const text :
         {"127.0.0.0", "127.0.0.1", "127.255.255.255", "0.0.0.0", "169.254.0.0", "169.254.1.1",
          "169.254.255.255", "::", "::1", "fe80::", "fe80::1", "fe80::1%4", "fe9f::1", "fea0::1",
          "febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff"})
        EXPECT_FALSE(adapters::is_reachable(make_address(text))) << text;
}

TEST(is_reachable, keeps_all_others) {
    for (const char* const text : {"126.255.255.255",
                                   "128.0.0.0",
                                   "0.0.0.1",
                                   "169.253.255.255",
                                   "169.255.0.0",
                                   "168.254.1.1",
                                   "170.254.1.1",
                                   "16.9.254.1",
                                   "192.168.1.1",
                                   "10.0.0.1",
                                   "255.255.255.255",
                                   "224.0.0.1",
                                   "::2",
                                   "fe7f:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
                                   "fe00::1",
                                   "fec0::",
                                   "fec0::1%4",
                                   "ff80::1",
                                   "fd80::1",
                                   "fc00::1",
                                   "ff02::1",
                                   "2001:db8::1"})
        EXPECT_TRUE(adapters::is_reachable(make_address(text))) << text;
}

TEST(is_reachable, takes_an_ipv4_address_in_ipv6_form_for_ipv6) {
    for (const char* const text :
         {"::ffff:127.0.0.1", "::ffff:169.254.1.1", "::ffff:0.0.0.0", "::ffff:192.0.2.7"})
        EXPECT_TRUE(adapters::is_reachable(make_address(text))) << text;
}

/// Adapters with unicast addresses, linked as the system links them.
class address_list {
public:
    /// Adds an adapter. A null text is an address without a socket address.
    void add(std::initializer_list<const char*> texts) {
        auto& adapter = adapters_.emplace_back();
        IP_ADAPTER_UNICAST_ADDRESS** next = &adapter.FirstUnicastAddress;
        for (const char* const text : texts) {
            auto& unicast = unicasts_.emplace_back();
            if (text != nullptr) unicast.Address = sockets_.emplace_back(text).get();
            *next = &unicast;
            next = &unicast.Next;
        }
        if (adapters_.size() > 1) adapters_[adapters_.size() - 2].Next = &adapter;
    }

    [[nodiscard]] const IP_ADAPTER_ADDRESSES* first() const {
        return adapters_.empty() ? nullptr : &adapters_.front();
    }
    [[nodiscard]] std::vector<IP_ADAPTER_ADDRESSES> copies() const {
        return {adapters_.begin(), adapters_.end()};
    }

private:
    // Deques, because they leave where it is what points to each other.
    std::deque<IP_ADAPTER_ADDRESSES> adapters_;
    std::deque<IP_ADAPTER_UNICAST_ADDRESS> unicasts_;
    std::deque<socket_address> sockets_;
};

TEST(reachable_addresses, come_in_the_order_of_the_list) {
    address_list list;
    list.add({"2001:db8::1", "192.0.2.1"});
    list.add({});
    list.add({nullptr, "fe80::1", "192.0.2.9", nullptr, "2001:db8::1"});
    list.add({"127.0.0.1", "::1"});
    list.add({"192.0.2.1"});
    EXPECT_THAT(adapters::reachable_addresses(list.first()),
                ElementsAre(make_address("2001:db8::1"), make_address("192.0.2.1"), make_address("192.0.2.9"),
                            make_address("2001:db8::1"), make_address("192.0.2.1")));
}

TEST(reachable_addresses, may_be_none) {
    address_list list;
    EXPECT_THAT(adapters::reachable_addresses(nullptr), IsEmpty());
    list.add({"127.0.0.1", nullptr});
    EXPECT_THAT(adapters::reachable_addresses(list.first()), IsEmpty());
}

class local_ip_addresses_of_calls : public testing::Test {
protected:
    void SetUp() override { fake = {}; }
    static auto ask() { return adapters::local_ip_addresses(fake_calls); }
};

TEST_F(local_ip_addresses_of_calls, asks_until_the_list_fits) {
    address_list list;
    list.add({"192.0.2.1"});
    list.add({"127.0.0.1", "2001:db8::1"});
    const auto size = static_cast<ULONG>(sizeof(IP_ADAPTER_ADDRESSES));
    fake.addresses = list.copies();
    fake.errors = {ERROR_BUFFER_OVERFLOW, ERROR_BUFFER_OVERFLOW, ERROR_SUCCESS};
    fake.needed = {size, 3 * size};
    const auto result = ask();
    ASSERT_TRUE(result);
    EXPECT_THAT(result.value(), ElementsAre(make_address("192.0.2.1"), make_address("2001:db8::1")));
    EXPECT_THAT(fake.given, ElementsAre(0U, size, 3 * size));
}

TEST_F(local_ip_addresses_of_calls, is_empty_for_an_empty_list) {
    fake.errors = {ERROR_SUCCESS};
    const auto result = ask();
    ASSERT_TRUE(result);
    EXPECT_THAT(result.value(), IsEmpty());
}

TEST_F(local_ip_addresses_of_calls, hands_the_error_back) {
    for (const long error : {ERROR_NO_DATA, ERROR_ADDRESS_NOT_ASSOCIATED, ERROR_NOT_ENOUGH_MEMORY}) {
        fake.errors = {static_cast<ULONG>(error)};
        EXPECT_EQ(ask().error(),
                  boost::system::error_code(static_cast<int>(error), boost::system::system_category()));
        fake.errors = {ERROR_BUFFER_OVERFLOW, static_cast<ULONG>(error)};
        fake.needed = {1000};
        EXPECT_EQ(ask().error().value(), static_cast<int>(error));
        EXPECT_TRUE(fake.errors.empty());
    }
}

} // namespace
