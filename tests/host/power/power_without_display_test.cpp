// Run without a display, where this process can have no window.
#include <QVSharedSupport/PowerEvents.h>

#include "captured_log.h"
#include "checker_window.h"
#include "named_threads.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

namespace {

namespace power = QV::SharedSupport::PowerEvents;

TEST(power_events_without_display, are_not_seen_and_the_log_says_why) {
    if (can_make_windows()) GTEST_SKIP() << "there is a display";
    const test::captured_log log;
    bool called = false;
    power::set_sleep_callback([&] { called = true; });
    const test::log_line line =
        log.wait_for([](const test::log_line& each) { return each.text.starts_with("CreateWindow"); });
    EXPECT_EQ(line.logger, "System");
    EXPECT_EQ(line.level, QV::Logging::log_level::error);
    EXPECT_EQ(line.thread_name, "wakeup_checker");
    // It fails without giving a reason.
    EXPECT_EQ(line.text, "CreateWindow failed: " + QV::get_error_string(ERROR_SUCCESS));
    for (void* const thread : threads_named(L"wakeup_checker")) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    // It is not tried again.
    power::set_wakeup_callback([&] { called = true; });
    power::set_sleep_callback(nullptr);
    power::set_wakeup_callback(nullptr);
    EXPECT_EQ(count_threads_named(L"wakeup_checker"), 0);
    EXPECT_THAT(log.lines(), testing::SizeIs(1));
    EXPECT_THAT(checker_windows(), testing::IsEmpty());
    EXPECT_FALSE(called);
    EXPECT_EQ(power::last_wake_time(), std::chrono::steady_clock::time_point());
}

} // namespace
