#include <QVSharedSupport/software_version.h>

#include "../helpers/captured_log.h"
#include "../helpers/memory_watch.h"
#include "runtime_folder.h"
#include "version_log.h"
#include "version_module.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <string>

namespace {

using QV::get_mobile_device_version;
using QV::software_version;
using test::expect_one_error;
using test::processor;
using test::program_folder;
using test::runtime_folder;
using test::version_module;
using testing::AnyOf;
using testing::IsEmpty;
using testing::StartsWith;

static_assert(noexcept(get_mobile_device_version()));

std::string failed(const std::string& call, const runtime_folder& runtime) {
    const std::u8string path = runtime.module.u8string();
    return call + " failed for module '" + std::string(path.begin(), path.end()) + "'";
}

TEST(get_mobile_device_version, reads_the_file_without_running_it) {
    const runtime_folder runtime;
    runtime.copy(program_folder() / "versioned_module.dll");
    const test::captured_log log;
    EXPECT_EQ(get_mobile_device_version(), (software_version{1700, 65535, 2, 40000}));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(GetEnvironmentVariableW(L"QV_VERSIONED_MODULE_RAN", nullptr, 0), 0U);
    EXPECT_EQ(GetModuleHandleW(L"MobileDevice.dll"), nullptr);
    EXPECT_TRUE(std::filesystem::remove(runtime.module)) << "nothing keeps the file open";
}

class get_mobile_device_version_for : public testing::TestWithParam<processor> {};

TEST_P(get_mobile_device_version_for, any_processor) {
    const runtime_folder runtime;
    runtime.write(version_module(GetParam(), 1, 22, 333, 4444).bytes());
    const HMODULE bare = LoadLibraryExW(runtime.module.c_str(), nullptr,
                                        LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    const DWORD refusal = GetLastError();
    const test::captured_log log;
    if (bare == nullptr) {
        ASSERT_THAT(GetParam(), AnyOf(processor::arm, processor::arm64)) << "every system maps its own";
        EXPECT_EQ(get_mobile_device_version(), software_version());
        expect_one_error(log, failed("LoadLibraryExW", runtime) + ": " + QV::get_error_string(refusal));
        GTEST_SKIP() << "this system does not map modules for that processor";
    }
    FreeLibrary(bare);
    EXPECT_EQ(get_mobile_device_version(), (software_version{1, 22, 333, 4444}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(processors, get_mobile_device_version_for,
                         testing::Values(processor::i386, processor::arm, processor::amd64,
                                         processor::arm64));

TEST(get_mobile_device_version, reads_the_largest_and_the_smallest_version) {
    const runtime_folder runtime;
    runtime.write(version_module(processor::i386, 65535, 65535, 65535, 65535).bytes());
    EXPECT_EQ(get_mobile_device_version(), (software_version{65535, 65535, 65535, 65535}));
    runtime.write(version_module(processor::i386, 0, 0, 0, 0).bytes());
    EXPECT_EQ(get_mobile_device_version(), (software_version{0, 0, 0, 0}));
}

TEST(get_mobile_device_version, says_that_the_file_is_missing) {
    const runtime_folder runtime;
    const test::captured_log log;
    EXPECT_EQ(get_mobile_device_version(), software_version());
    expect_one_error(log, StartsWith(failed("LoadLibraryExW", runtime) + ": "));
}

TEST(get_mobile_device_version, says_that_the_folder_is_missing) {
    QV::RuntimeLocator::set_mds_path(L"C:\\no such \x00E9 folder");
    const test::captured_log log;
    EXPECT_EQ(get_mobile_device_version(), software_version());
    expect_one_error(
        log,
        StartsWith("LoadLibraryExW failed for module 'C:\\no such \xC3\xA9 folder\\MobileDevice.dll': "));
    QV::RuntimeLocator::set_mds_path(std::nullopt);
}

TEST(get_mobile_device_version, says_that_the_file_is_no_module) {
    const std::string whole = version_module(processor::i386, 1, 2, 3, 4).bytes();
    for (const std::string& bytes :
         {std::string(), std::string("text"), std::string(5000, '\xFF'), whole.substr(0, 70)}) {
        const runtime_folder runtime;
        runtime.write(bytes);
        const test::captured_log log;
        EXPECT_EQ(get_mobile_device_version(), software_version());
        expect_one_error(log, StartsWith(failed("LoadLibraryExW", runtime) + ": "));
    }
}

TEST(get_mobile_device_version, says_that_the_file_has_no_version) {
    version_module without_table(processor::i386, 1, 2, 3, 4);
    without_table.has_resource_table = false;
    version_module of_other_type(processor::amd64, 1, 2, 3, 4);
    of_other_type.resource_type = 10;
    version_module of_other_name(processor::amd64, 1, 2, 3, 4);
    of_other_name.resource_name = 2;
    for (const version_module& module : {without_table, of_other_type, of_other_name}) {
        const runtime_folder runtime;
        runtime.write(module.bytes());
        const test::captured_log log;
        EXPECT_EQ(get_mobile_device_version(), software_version());
        expect_one_error(log, failed("FindResource", runtime));
    }
}

TEST(get_mobile_device_version, says_that_the_resource_is_empty) {
    version_module module(processor::i386, 1, 2, 3, 4);
    module.claimed_resource_size = 0;
    const runtime_folder runtime;
    runtime.write(module.bytes());
    const test::captured_log log;
    EXPECT_EQ(get_mobile_device_version(), software_version());
    expect_one_error(log, failed("SizeofResource", runtime));
}

TEST(get_mobile_device_version, says_that_the_resource_reaches_beyond_the_file) {
    version_module module(processor::i386, 1, 2, 3, 4);
    module.claimed_resource_size = 0x7FFFFFFF;
    const runtime_folder runtime;
    runtime.write(module.bytes());
    const test::captured_log log;
    EXPECT_EQ(get_mobile_device_version(), software_version());
    expect_one_error(log, failed("SizeofResource", runtime));
}

TEST(get_mobile_device_version, says_that_the_resource_is_cut_short) {
    const version_module whole(processor::i386, 1, 2, 3, 4);
    for (std::uint32_t size = 1; size != whole.resource.size(); ++size) {
        version_module module = whole;
        module.resource.resize(size);
        module.claimed_resource_size = size;
        const runtime_folder runtime;
        runtime.write(module.bytes());
        const test::captured_log log;
        EXPECT_EQ(get_mobile_device_version(), software_version()) << size;
        expect_one_error(log, failed("VerQueryValueA", runtime));
    }
}

TEST(get_mobile_device_version, says_that_the_resource_is_none_of_a_version) {
    const version_module whole(processor::i386, 1, 2, 3, 4);
    // Its own length, the length of its value, its type, its name: all of them are believed by the system.
    for (const std::size_t at : {1U, 4U, 5U, 6U, 36U}) {
        version_module module = whole;
        module.resource[at] = 0x41;
        const runtime_folder runtime;
        runtime.write(module.bytes());
        const test::captured_log log;
        EXPECT_EQ(get_mobile_device_version(), software_version()) << at;
        expect_one_error(log, failed("VerQueryValueA", runtime));
    }
    version_module without_value = whole;
    without_value.resource[2] = 0;
    const runtime_folder runtime;
    runtime.write(without_value.bytes());
    const test::captured_log log;
    EXPECT_EQ(get_mobile_device_version(), software_version());
    expect_one_error(log, failed("VerQueryValueA", runtime));
}

TEST(get_mobile_device_version, throws_nothing_wherever_memory_runs_out) {
    const runtime_folder runtime;
    runtime.write(version_module(processor::i386, 1, 2, 3, 4).bytes());
    const test::captured_log log;
    software_version version;
    const long failures = test::run_out_of_memory_everywhere(
        [&] { version = get_mobile_device_version(); },
        [&](bool refused) {
            EXPECT_EQ(version, refused ? software_version() : (software_version{1, 2, 3, 4}));
        });
    EXPECT_GT(failures, 0);
    EXPECT_TRUE(std::filesystem::remove(runtime.module)) << "nothing keeps the file open";
    EXPECT_GT(test::run_out_of_memory_everywhere([&] { version = get_mobile_device_version(); },
                                                 [&](bool) { EXPECT_EQ(version, software_version()); }),
              0);
}

} // namespace
