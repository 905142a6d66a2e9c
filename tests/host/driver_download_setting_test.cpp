#include "driver_download_setting.h"

#include "../helpers/own_machine_registry.h"
#include "run_child.h"
#include "wine_registry.h"

#include <QVSharedSupport/host_info.h>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>

namespace {

constexpr const wchar_t* key_name = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching";
constexpr const wchar_t* value_name = L"SearchOrderConfig";

/// The Windows that the fake system is, and what it was asked.
struct {
    DWORD major = 0;
    DWORD minor = 0;
    WORD service_pack = 0;
    DWORD fields = 0;
    ULONGLONG conditions = 0;
} fake;

// As Windows compares: by the first number that differs.
BOOL WINAPI verify(LPOSVERSIONINFOEXW asked, DWORD fields, DWORDLONG conditions) {
    EXPECT_EQ(asked->dwOSVersionInfoSize, sizeof(OSVERSIONINFOEXW));
    fake.fields = fields;
    fake.conditions = conditions;
    return std::make_tuple(fake.major, fake.minor, fake.service_pack) >=
           std::make_tuple(asked->dwMajorVersion, asked->dwMinorVersion, asked->wServicePackMajor);
}

void be_windows(DWORD major, DWORD minor, WORD service_pack = 0) {
    fake = {major, minor, service_pack};
}

TEST(is_windows_8_or_later, asks_for_6_2_0) {
    be_windows(6, 2);
    EXPECT_TRUE(QV::is_windows_8_or_later(&verify));
    EXPECT_EQ(fake.fields, static_cast<DWORD>(VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR));
    ULONGLONG expected = 0;
    expected = VerSetConditionMask(expected, VER_MAJORVERSION, VER_GREATER_EQUAL);
    expected = VerSetConditionMask(expected, VER_MINORVERSION, VER_GREATER_EQUAL);
    expected = VerSetConditionMask(expected, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    EXPECT_EQ(fake.conditions, expected);

    be_windows(6, 3);
    EXPECT_TRUE(QV::is_windows_8_or_later(&verify));
    be_windows(10, 0);
    EXPECT_TRUE(QV::is_windows_8_or_later(&verify));
    be_windows(6, 1, 1);
    EXPECT_FALSE(QV::is_windows_8_or_later(&verify));
    be_windows(5, 2, 2);
    EXPECT_FALSE(QV::is_windows_8_or_later(&verify));
}

class auto_driver_download : public test::own_machine_registry {
protected:
    void SetUp() override {
        own_machine_registry::SetUp();
        be_windows(6, 1, 1);
    }

    static void set_setting(DWORD type, const void* data, std::size_t bytes) {
        set_value(key_name, value_name, type, data, bytes);
    }
    static void set_number(DWORD number) { set_setting(REG_DWORD, &number, sizeof(number)); }
    static bool enabled() { return QV::auto_driver_download_enabled(&verify); }
};

TEST_F(auto_driver_download, is_enabled_by_exactly_1) {
    set_number(1);
    EXPECT_TRUE(enabled());
    for (const DWORD number : {0UL, 2UL, 3UL, 0x101UL, 0x80000001UL, 0xFFFFFFFFUL}) {
        set_number(number);
        EXPECT_FALSE(enabled()) << number;
    }
}

TEST_F(auto_driver_download, is_not_enabled_where_nothing_is_set) {
    EXPECT_FALSE(enabled()); // not even the key
    make_key(key_name);
    EXPECT_FALSE(enabled());
}

TEST_F(auto_driver_download, is_not_enabled_by_other_types) {
    const std::wstring text = L"1";
    set_setting(REG_SZ, text.c_str(), 4);
    EXPECT_FALSE(enabled());
    const unsigned long long wide = 1;
    set_setting(REG_QWORD, &wide, sizeof(wide));
    EXPECT_FALSE(enabled());
    set_setting(REG_BINARY, &wide, 1);
    EXPECT_FALSE(enabled());
    set_setting(REG_BINARY, &wide, 8);
    EXPECT_FALSE(enabled());
}

TEST_F(auto_driver_download, is_not_enabled_on_windows_8_and_later) {
    set_number(1);
    be_windows(6, 2);
    EXPECT_FALSE(enabled());
    be_windows(10, 0);
    EXPECT_FALSE(enabled());
    be_windows(6, 1);
    EXPECT_TRUE(enabled());
}

TEST_F(auto_driver_download, keeps_no_handle) {
    set_number(1);
    enabled();
    const unsigned long before = open_handles();
    for (int i = 0; i < 100; ++i)
        enabled();
    EXPECT_LE(open_handles(), before);
}

/// What the exported function answers in a new process that Wine shows this version of Windows.
std::optional<int> answer_on(const std::wstring& windows) {
    const wine_registry::value version(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\host_in_c.exe",
                                       L"Version", windows);
    EXPECT_TRUE(version.written);
    return run_child("host_in_c", {"setting"}).code;
}

TEST(QXSystemSettingIsWin7AutoDriverDownloadEnabled, goes_by_the_registry_on_windows_7_only) {
    if (!wine_registry::is_wine()) GTEST_SKIP() << "would change the settings of this computer";
    EXPECT_EQ(answer_on(L"win7"), 0);
    for (const DWORD number : {0UL, 1UL, 2UL}) {
        const wine_registry::value setting(HKEY_LOCAL_MACHINE, key_name, value_name, number);
        ASSERT_TRUE(setting.written);
        EXPECT_EQ(answer_on(L"win7"), number == 1 ? 1 : 0) << number;
        EXPECT_EQ(answer_on(L"win8"), 0) << number;
        EXPECT_EQ(answer_on(L"win10"), 0) << number;
    }
}

} // namespace
