#include <QVSharedSupport/software_version.h>

#include "../helpers/captured_log.h"

#include <RuntimeLocator/mds_path.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace {

using QV::get_framework_version;
using QV::software_version;
using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;
using testing::StartsWith;
using namespace std::string_view_literals;

/// Makes `get_mds_path` lead to a folder while it lives.
struct runtime_folder {
    explicit runtime_folder(const std::filesystem::path& folder) { QV::RuntimeLocator::set_mds_path(folder); }
    ~runtime_folder() { QV::RuntimeLocator::set_mds_path(std::nullopt); }
    runtime_folder(const runtime_folder&) = delete;
    runtime_folder& operator=(const runtime_folder&) = delete;
};

/// A folder of the test's own, with a file "MobileDevice.dll" copied from another.
struct fake_runtime {
    explicit fake_runtime(const std::filesystem::path& module) {
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(module, folder / "MobileDevice.dll",
                                   std::filesystem::copy_options::overwrite_existing);
    }
    ~fake_runtime() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    fake_runtime(const fake_runtime&) = delete;
    fake_runtime& operator=(const fake_runtime&) = delete;

    std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                   (L"qv runtime \x00E9 " + std::to_wstring(GetCurrentProcessId()));
};

std::filesystem::path program_folder() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

void expect_one_error(const test::captured_log& log) {
    ASSERT_THAT(log.lines(), SizeIs(1));
    EXPECT_EQ(static_cast<int>(log.lines().front().level), 4);
    EXPECT_EQ(log.lines().front().logger, "System");
}

TEST(get_framework_version, reads_the_version_of_a_loaded_module) {
    const test::captured_log log;
    const software_version version = get_framework_version("QVSharedSupport.dll");
    EXPECT_EQ(version, (software_version{0, 1, 0, 0}));
    EXPECT_EQ(get_framework_version("QVSharedSupport.dll"sv), version);
    EXPECT_GT(get_framework_version("kernel32"), software_version());
    EXPECT_TRUE(log.lines().empty());
}

TEST(get_framework_version, never_loads_a_module) {
    const test::captured_log log;
    EXPECT_EQ(get_framework_version("not_loaded.dll"), software_version());
    expect_one_error(log);
    EXPECT_THAT(log.texts("System").front(),
                StartsWith("GetModuleHandleA failed for module 'not_loaded.dll': "));
}

TEST(get_framework_version, reads_the_name_up_to_its_first_nul) {
    const test::captured_log log;
    EXPECT_EQ(get_framework_version("QVSharedSupport.dll\0x"sv), (software_version{0, 1, 0, 0}));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(get_framework_version("absent.dll\0x"sv), software_version());
    EXPECT_THAT(log.texts("System").front(), StartsWith("GetModuleHandleA failed for module 'absent.dll': "));
}

TEST(get_framework_version, says_which_module_has_no_version) {
    // The test program itself is built without a version resource.
    const test::captured_log log;
    const std::string name = "devices_test.exe";
    EXPECT_EQ(get_framework_version(name), software_version());
    EXPECT_THAT(log.texts("System"), ElementsAre("FindResource failed for module 'devices_test.exe'"));
    expect_one_error(log);
}

TEST(get_mobile_device_version, reads_the_file_without_loading_it) {
    const fake_runtime fake(program_folder() / "QVLog.dll");
    const runtime_folder folder(fake.folder);
    const test::captured_log log;
    EXPECT_EQ(QV::get_mobile_device_version(), (software_version{0, 1, 0, 0}));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(GetModuleHandleW(L"MobileDevice.dll"), nullptr);
    // Nothing keeps the file open.
    EXPECT_TRUE(std::filesystem::remove(fake.folder / "MobileDevice.dll"));
}

TEST(get_mobile_device_version, says_that_the_file_is_missing) {
    const runtime_folder folder(L"C:\\no such \x00E9 folder");
    const test::captured_log log;
    EXPECT_EQ(QV::get_mobile_device_version(), software_version());
    expect_one_error(log);
    EXPECT_THAT(
        log.texts("System").front(),
        StartsWith("LoadLibraryExW failed for module 'C:\\no such \xC3\xA9 folder\\MobileDevice.dll': "));
}

TEST(get_mobile_device_version, says_that_the_file_has_no_version) {
    const fake_runtime fake(program_folder() / "devices_test.exe");
    const runtime_folder folder(fake.folder);
    const test::captured_log log;
    EXPECT_EQ(QV::get_mobile_device_version(), software_version());
    expect_one_error(log);
    EXPECT_THAT(log.texts("System").front(), StartsWith("FindResource failed for module '"));
    EXPECT_THAT(log.texts("System").front(), EndsWith("MobileDevice.dll'"));
}

} // namespace
