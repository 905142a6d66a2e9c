#include <QVSharedSupport/SystemConfiguration.h>

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include <cstddef>
#include <type_traits>

extern "C" int auto_update_in_c();

namespace {

namespace configuration = QV::SystemConfiguration;
using configuration::AppleCachingServiceStatus;
using configuration::DeviceTetheringStatus;

TEST(SystemConfiguration, names_a_report_without_a_folder) {
    const QV::filesystem::path name = configuration::GetDefaultSystemReportFilename();
    EXPECT_EQ(name, "SystemInfo.nfo");
    EXPECT_TRUE(name.is_relative());
    EXPECT_FALSE(name.has_parent_path());
}

TEST(SystemConfiguration, shares_no_connection_with_devices) {
    EXPECT_FALSE(configuration::IsSystemEligibleForDeviceTethering());
    EXPECT_TRUE(configuration::GetTetheredDeviceStatus().empty());
}

TEST(SystemConfiguration, caches_nothing) {
    const AppleCachingServiceStatus status = configuration::GetAppleCachingServiceStatus();
    EXPECT_EQ(status.activation, 0u);
    EXPECT_EQ(status.startup, 0u);
    EXPECT_TRUE(status.cached_bytes.empty());
    EXPECT_EQ(status.cached_bytes.max_load_factor(), 1.0F);
    EXPECT_EQ(status.cached_bytes.bucket_count(), decltype(status.cached_bytes)().bucket_count());
}

TEST(SystemConfiguration, looks_for_resources_in_the_current_folder) {
    const QV::filesystem::path before = boost::filesystem::current_path();
    EXPECT_EQ(configuration::get_resources_path(), before);
    const QV::filesystem::path elsewhere = before.root_path();
    boost::filesystem::current_path(elsewhere);
    EXPECT_EQ(configuration::get_resources_path(), elsewhere);
    boost::filesystem::current_path(before);
}

TEST(SystemConfiguration, lets_an_update_go_on) {
    EXPECT_TRUE(QXAutoUpdatePreflight());
    EXPECT_EQ(auto_update_in_c(), 1);
}

// The types and their order are what a host built earlier was compiled with.
static_assert(std::is_same_v<decltype(DeviceTetheringStatus::paired), bool> && sizeof(bool) == 1);
static_assert(offsetof(DeviceTetheringStatus, paired) == 0);
static_assert(offsetof(DeviceTetheringStatus, bridged) == 1);
static_assert(offsetof(DeviceTetheringStatus, tethered) == 2);
static_assert(offsetof(DeviceTetheringStatus, check_in_attempts) == 4);
static_assert(sizeof(DeviceTetheringStatus::check_in_attempts) == 4);
static_assert(offsetof(DeviceTetheringStatus, checked_in) == 8);
static_assert(offsetof(DeviceTetheringStatus, location_id) == 16);
static_assert(sizeof(DeviceTetheringStatus::location_id) == 8);
static_assert(offsetof(DeviceTetheringStatus, name) == 24);
static_assert(offsetof(DeviceTetheringStatus, serial_number) == 24 + sizeof(std::string));
static_assert(offsetof(AppleCachingServiceStatus, startup) == 4);
static_assert(offsetof(AppleCachingServiceStatus, cached_bytes) == 8);

DeviceTetheringStatus sample() {
    return {true, false, true, 3, true, 0x1'0000'0001, "a phone", "SERIAL"};
}

TEST(DeviceTetheringStatus, is_equal_when_every_field_is) {
    EXPECT_EQ(DeviceTetheringStatus(), DeviceTetheringStatus());
    EXPECT_EQ(sample(), sample());
}

template <class Change>
void expect_that_it_matters(Change change) {
    DeviceTetheringStatus changed = sample();
    change(changed);
    EXPECT_FALSE(changed == sample());
    EXPECT_FALSE(sample() == changed);
    EXPECT_TRUE(changed != sample());
}

TEST(DeviceTetheringStatus, differs_by_any_field) {
    expect_that_it_matters([](auto& status) { status.paired = false; });
    expect_that_it_matters([](auto& status) { status.bridged = true; });
    expect_that_it_matters([](auto& status) { status.tethered = false; });
    expect_that_it_matters([](auto& status) { status.check_in_attempts = 4; });
    expect_that_it_matters([](auto& status) { status.checked_in = false; });
    expect_that_it_matters([](auto& status) { status.location_id = 1; }); // the lower half is the same
    expect_that_it_matters([](auto& status) { status.name = "A phone"; });
    expect_that_it_matters([](auto& status) { status.serial_number = ""; });
}

TEST(DeviceTetheringStatus, compares_bytes_beyond_a_nul) {
    using namespace std::string_literals;
    expect_that_it_matters([](auto& status) { status.name = "a phone\0x"s; });
    expect_that_it_matters([](auto& status) { status.serial_number = "SERIAL\0"s; });
}

} // namespace
