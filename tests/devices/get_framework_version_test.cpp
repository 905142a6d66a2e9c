#include <QVSharedSupport/software_version.h>

#include "../helpers/captured_log.h"
#include "../helpers/memory_watch.h"
#include "version_log.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <string_view>

namespace {

using QV::get_framework_version;
using QV::software_version;
using test::expect_one_error;
using testing::AnyOf;
using testing::IsEmpty;
using namespace std::string_view_literals;

static_assert(noexcept(get_framework_version("")) && noexcept(get_framework_version(""sv)));

std::string not_loaded(const std::string& name) {
    return "GetModuleHandleA failed for module '" + name + "': " + QV::get_error_string(ERROR_MOD_NOT_FOUND);
}

TEST(get_framework_version, reads_the_version_of_a_loaded_module) {
    const test::captured_log log;
    const software_version version = get_framework_version("QVSharedSupport.dll");
    EXPECT_EQ(version, (software_version{0, 1, 0, 0}));
    EXPECT_EQ(get_framework_version("QVSharedSupport.dll"sv), version);
    EXPECT_EQ(get_framework_version("qvsharedsupport"), version) << "as the system finds modules";
    EXPECT_GT(get_framework_version("kernel32"), software_version());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(get_framework_version, reads_a_view_that_ends_before_its_text) {
    EXPECT_EQ(get_framework_version("QVSharedSupport.dll and more"sv.substr(0, 19)),
              (software_version{0, 1, 0, 0}));
}

TEST(get_framework_version, never_loads_a_module) {
    const test::captured_log log;
    EXPECT_EQ(get_framework_version("not_loaded.dll"), software_version());
    expect_one_error(log, not_loaded("not_loaded.dll"));
}

TEST(get_framework_version, never_loads_a_module_that_could_be_loaded) {
    ASSERT_EQ(GetModuleHandleW(L"versioned_module.dll"), nullptr);
    const test::captured_log log;
    EXPECT_EQ(get_framework_version("versioned_module.dll"sv), software_version());
    expect_one_error(log, not_loaded("versioned_module.dll"));
    EXPECT_EQ(GetModuleHandleW(L"versioned_module.dll"), nullptr);
}

TEST(get_framework_version, reads_whatever_numbers_a_loaded_module_has) {
    const HMODULE module = LoadLibraryW(L"versioned_module.dll");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(get_framework_version("versioned_module.dll"), (software_version{1700, 65535, 2, 40000}));
    FreeLibrary(module);
    SetEnvironmentVariableW(L"QV_VERSIONED_MODULE_RAN", nullptr);
}

TEST(get_framework_version, reads_the_name_up_to_its_first_nul) {
    const test::captured_log log;
    EXPECT_EQ(get_framework_version("QVSharedSupport.dll\0x"sv), (software_version{0, 1, 0, 0}));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(get_framework_version("absent.dll\0x"sv), software_version());
    expect_one_error(log, not_loaded("absent.dll"));
}

TEST(get_framework_version, takes_odd_names) {
    for (const std::string& name : {std::string("a\xFF\xFE.dll"), std::string("C:\\absent\\a.dll"),
                                    std::string("no {} format {0}.dll"), std::string(5000, 'x')}) {
        const test::captured_log log;
        EXPECT_EQ(get_framework_version(name), software_version());
        EXPECT_EQ(log.lines().size(), 1U) << name;
    }
}

TEST(get_framework_version, takes_no_name_for_the_program_itself) {
    // The test program is built without a version resource.
    for (const char* const name : {static_cast<const char*>(nullptr), "devices_test.exe"}) {
        const test::captured_log log;
        EXPECT_EQ(get_framework_version(name), software_version());
        expect_one_error(log,
                         "FindResource failed for module '" + std::string(name == nullptr ? "" : name) + "'");
    }
}

TEST(get_framework_version, throws_nothing_wherever_memory_runs_out) {
    const test::captured_log log;
    for (const std::string_view name : {"QVSharedSupport.dll"sv, "a module that is not loaded.dll"sv}) {
        const bool is_loaded = name.starts_with("QV");
        const software_version real = is_loaded ? software_version{0, 1, 0, 0} : software_version();
        software_version version;
        const long failed =
            test::run_out_of_memory_everywhere([&] { version = get_framework_version(name); },
                                               [&](bool refused) {
                                                   if (refused) {
                                                       EXPECT_THAT(version, AnyOf(software_version(), real));
                                                   } else {
                                                       EXPECT_EQ(version, real);
                                                   }
                                               });
        EXPECT_GT(failed, 0);
    }
}

} // namespace
