// What this computer answers, whichever it is, beside what it says by other ways.
#include <QVSharedSupport/host_info.h>
#include <QVSharedSupport/software_version.h>

#include "../helpers/failing_allocator.h"
#include "helper_programs.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <winsock2.h>

#include <windows.h>

#include <iphlpapi.h>
#include <sddl.h>

#include <algorithm>
#include <cstddef>
#include <regex>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace QV::SharedSupport;
using testing::Contains;

TEST(get_os_arch, is_amd64_here) {
    EXPECT_EQ(get_os_arch(), "AMD64");
}

TEST(get_os_version, is_the_file_version_of_kernel32) {
    const QV::software_version version = QV::get_framework_version("kernel32");
    EXPECT_EQ(get_os_version(),
              fmt::format("{}.{}.{}.{}", version.major, version.minor, version.patch, version.build));
    EXPECT_NE(get_os_version(), "0.0.0.0");
}

TEST(get_os_bitness, is_fixed) {
    EXPECT_EQ(static_cast<int>(get_os_bitness()), 2);
    EXPECT_EQ(get_os_bitness(), OSBitness::bits_64);
    static_assert(noexcept(get_os_bitness()));
}

TEST(get_os_family, is_fixed) {
    EXPECT_EQ(static_cast<int>(get_os_family()), 2);
    EXPECT_EQ(get_os_family(), OSFamily::windows);
    static_assert(noexcept(get_os_family()));
}

TEST(is_running_rosetta_translated, cannot_tell) {
    EXPECT_FALSE(QV::is_running_rosetta_translated().has_value());
}

TEST(get_primary_mac_address, is_one_of_the_adapters) {
    ULONG size = 256 * 1024;
    std::vector<IP_ADAPTER_INFO> list(size / sizeof(IP_ADAPTER_INFO) + 1);
    if (GetAdaptersInfo(list.data(), &size) != ERROR_SUCCESS) {
        EXPECT_THROW((void)get_primary_mac_address(), std::runtime_error);
        return;
    }
    std::vector<std::string> addresses;
    for (const IP_ADAPTER_INFO* adapter = list.data(); adapter != nullptr; adapter = adapter->Next) {
        std::string text;
        for (UINT i = 0; i != adapter->AddressLength; ++i)
            text += fmt::format("{}{:02X}", i == 0 ? "" : ":", adapter->Address[i]);
        addresses.push_back(text);
    }
    EXPECT_THAT(addresses, Contains(get_primary_mac_address()));
    EXPECT_EQ(get_primary_mac_address().size() % 3, 2U);
}

TEST(get_local_ip_addresses, are_the_unicast_addresses_that_can_be_reached) {
    ULONG size = 256 * 1024;
    std::vector<IP_ADAPTER_ADDRESSES> list(size / sizeof(IP_ADAPTER_ADDRESSES) + 1);
    const ULONG error = GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, list.data(), &size);
    const auto result = get_local_ip_addresses();
    if (error != ERROR_SUCCESS) {
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().value(), static_cast<int>(error));
        return;
    }
    ASSERT_TRUE(result);
    std::size_t all = 0;
    for (const IP_ADAPTER_ADDRESSES* adapter = list.data(); adapter != nullptr; adapter = adapter->Next)
        for (const auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next)
            ++all;
    EXPECT_LE(result.value().size(), all);
    for (const auto& address : result.value()) {
        EXPECT_FALSE(address.is_loopback() || address.is_unspecified()) << address;
        EXPECT_TRUE(address.is_v4() || !address.to_v6().is_link_local()) << address;
    }
}

TEST(get_local_ip_addresses, gives_a_result_that_throws_what_went_wrong) {
    using result = decltype(get_local_ip_addresses());
    static_assert(std::is_same_v<result, boost::outcome_v2::result<std::vector<boost::asio::ip::address>,
                                                                   boost::system::error_code>>);
    const result failed = boost::system::error_code(ERROR_NO_DATA, boost::system::system_category());
    EXPECT_THROW((void)failed.value(), boost::system::system_error);
}

/// The identifier of the user in the process's token.
std::string user_of_token() {
    HANDLE token = nullptr;
    std::vector<std::byte> buffer(1024);
    DWORD size = 0;
    char* text = nullptr;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    EXPECT_TRUE(
        GetTokenInformation(token, TokenUser, buffer.data(), static_cast<DWORD>(buffer.size()), &size));
    void* const user = buffer.data();
    EXPECT_TRUE(ConvertSidToStringSidA(static_cast<TOKEN_USER*>(user)->User.Sid, &text));
    std::string copy(text);
    LocalFree(text);
    CloseHandle(token);
    return copy;
}

TEST(QXSystemGetUserIdentifier, is_the_identifier_of_the_token) {
    const CF::String identifier = QXSystemGetUserIdentifier();
    EXPECT_EQ(identifier.to_string(), user_of_token());
    EXPECT_TRUE(std::regex_match(identifier.to_string(), std::regex("S-1-[0-9]+(-[0-9]+)+")));
    EXPECT_EQ(CFGetRetainCount(identifier.get()), 1);
}

TEST(QXSystemGetUserIdentifier, keeps_no_handle) {
    (void)QXSystemGetUserIdentifier();
    const unsigned long before = open_handles();
    for (int i = 0; i < 100; ++i)
        (void)QXSystemGetUserIdentifier();
    EXPECT_LE(open_handles(), before);
}

TEST(QXSystemGetUserIdentifier, is_empty_without_memory_for_the_text) {
    const qv_test::failing_allocator none(0);
    EXPECT_FALSE(QXSystemGetUserIdentifier());
    EXPECT_TRUE(none.refused());
}

} // namespace
