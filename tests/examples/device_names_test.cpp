#include "run_child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string feed() {
    return std::string(std::getenv("QV_TEST_SOURCE_DIR")) + "/data/usb/synthetic_product_types.plist";
}

/// A feed where the two modes differ, gone at the end of the test.
struct small_feed {
    small_feed() {
        std::ofstream(path) << "{MobileDeviceProductTypes={DFU={7=\"iPad8,1\";};"
                               "Recovery={8=\"iPad8,1\";9=\"iPhone15,2\";};};}";
    }
    ~small_feed() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    small_feed(const small_feed&) = delete;
    small_feed& operator=(const small_feed&) = delete;

    std::string name() const {
        const std::u8string text = path.u8string();
        return {text.begin(), text.end()};
    }

    const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                       (L"qv \x8BD5 \x00E9 " + std::to_wstring(GetCurrentProcessId()));
};

/// Runs device_names; its output comes with plain line ends.
child_outcome run_device_names(std::vector<std::string> arguments) {
    child_outcome run = run_child("device_names", std::move(arguments));
    std::erase(run.output, '\r');
    return run;
}

TEST(device_names, looks_up_both_ways_in_both_modes) {
    const small_feed small;
    const child_outcome run = run_device_names({small.name(), "iPad8,1", "7", "0x9"});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.output, "iPad8,1: in DFU mode number 7 (0x7)\n"
                          "iPad8,1: in Recovery mode number 8 (0x8)\n"
                          "7: in DFU mode a iPad8,1\n"
                          "0x9: in Recovery mode a iPhone15,2\n"
                          "watch USB 05ac:1227\n"
                          "watch USB 05ac:1280 to 05ac:1283\n");
    EXPECT_THAT(run.error, HasSubstr("Loaded 1 DFU product types"));
    EXPECT_THAT(run.error, HasSubstr("Loaded 2 Recovery product types"));
}

TEST(device_names, watches_only_for_what_was_found) {
    const small_feed small;
    const child_outcome run = run_device_names({small.name(), "7", "Nonesuch1,1"});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.output, "7: in DFU mode a iPad8,1\nNonesuch1,1: unknown\nwatch USB 05ac:1227\n");
}

TEST(device_names, reads_a_whole_feed) {
    const child_outcome run = run_device_names({feed(), "AppleTV3,1"});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.output, StartsWith("AppleTV3,1: in DFU mode number 134252866 (0x8008942)\n"));
}

TEST(device_names, says_why_a_feed_cannot_be_loaded) {
    const child_outcome run = run_device_names({"C:\\missing.xml", "1"});
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(
        run.error,
        StartsWith("device_names: Cannot retrieve the requested resource: Could not load product types "
                   "from file: when opening file 'C:\\missing.xml' for reading: "));
}

TEST(device_names, tells_how_it_is_used) {
    const child_outcome run = run_device_names({feed()});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.error, StartsWith("device_names: usage: "));
}

} // namespace
