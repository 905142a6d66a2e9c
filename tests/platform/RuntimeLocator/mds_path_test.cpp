#include <RuntimeLocator/mds_path.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace {

using QV::RuntimeLocator::get_mds_path;
using QV::RuntimeLocator::set_mds_path;

TEST(set_mds_path, replaces_the_installed_one) {
    for (const std::filesystem::path& folder : {std::filesystem::path(u8"/runtime/Ger\u00E4t"),
                                                std::filesystem::path("relative"), std::filesystem::path()}) {
        set_mds_path(folder);
        EXPECT_EQ(get_mds_path(), folder);
    }
    set_mds_path(std::nullopt);
}

TEST(set_mds_path, may_be_called_while_others_ask) {
    set_mds_path("one");
    std::atomic<bool> stop{false};
    std::thread asking([&] {
        while (!stop) {
            const std::filesystem::path folder = get_mds_path();
            EXPECT_TRUE(folder == "one" || folder == "two") << folder;
        }
    });
    for (int i = 0; i < 1000; ++i)
        set_mds_path(i % 2 ? "one" : "two");
    stop = true;
    asking.join();
    set_mds_path(std::nullopt);
}

} // namespace
