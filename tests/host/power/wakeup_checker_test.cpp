#include "wakeup_checker.h"

#include "captured_log.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using QV::SharedSupport::PowerEvents::check_for_wakeups;
using QV::SharedSupport::PowerEvents::checker_calls;
using QV::SharedSupport::PowerEvents::standby_functions;
using testing::ElementsAre;
using testing::IsEmpty;

// A system in which everything succeeds, unless it is told otherwise. Its handles are numbers.
struct obliging_system {
    static inline bool has_windows, has_standby, adds, removes, has_messages;
    static inline int messages;
    static inline std::string calls;

    static HWND window() { return reinterpret_cast<HWND>(&messages); }
    static HPOWERNOTIFY registration() { return &calls; }

    static HWND create_window() {
        calls += "create ";
        if (has_windows) return window();
        SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    static HPOWERNOTIFY WINAPI add(HANDLE recipient, DWORD flags) {
        EXPECT_EQ(recipient, window());
        EXPECT_EQ(flags, 0u);
        calls += "add ";
        if (adds) return registration();
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    static BOOL WINAPI remove(HPOWERNOTIFY what) {
        EXPECT_EQ(what, registration());
        calls += "remove ";
        SetLastError(ERROR_INVALID_HANDLE);
        return removes;
    }
    static standby_functions find_standby() {
        if (!has_standby) throw QV::win32_error("GetProcAddress", ERROR_PROC_NOT_FOUND);
        return {add, remove};
    }
    static int get_message(MSG& message) {
        message = {};
        calls += "message ";
        if (messages-- > 0) return 7; // anything positive is a message
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return has_messages ? 0 : -1;
    }
};

class wakeup_checker : public testing::Test {
protected:
    void SetUp() override {
        obliging_system::has_windows = obliging_system::has_standby = obliging_system::adds =
            obliging_system::removes = obliging_system::has_messages = true;
        obliging_system::messages = 2;
        obliging_system::calls.clear();
    }

    // Runs the checker, and gives what it logged as "level text".
    static std::vector<std::string> check() {
        const test::captured_log log;
        check_for_wakeups(
            {obliging_system::create_window, obliging_system::find_standby, obliging_system::get_message});
        std::vector<std::string> lines;
        for (const test::log_line& line : log.lines()) {
            EXPECT_EQ(line.logger, "System");
            lines.push_back(std::to_string(static_cast<int>(line.level)) + ' ' + line.text);
        }
        return lines;
    }
};

TEST_F(wakeup_checker, dispatches_messages_until_it_is_to_quit) {
    EXPECT_THAT(check(), IsEmpty());
    EXPECT_EQ(obliging_system::calls, "create add message message message remove ");
}

TEST_F(wakeup_checker, ends_without_a_window) {
    obliging_system::has_windows = false;
    EXPECT_THAT(check(),
                ElementsAre("4 CreateWindow failed: " + QV::get_error_string(ERROR_CANNOT_FIND_WND_CLASS)));
    EXPECT_EQ(obliging_system::calls, "create ");
}

TEST_F(wakeup_checker, goes_on_without_modern_standby) {
    obliging_system::has_standby = false;
    EXPECT_THAT(check(), ElementsAre(std::string("2 Modern Standby detection will be disabled: ") +
                                     QV::win32_error("GetProcAddress", ERROR_PROC_NOT_FOUND).what()));
    EXPECT_EQ(obliging_system::calls, "create message message message ");
}

TEST_F(wakeup_checker, goes_on_when_it_is_not_registered) {
    obliging_system::adds = false;
    EXPECT_THAT(
        check(),
        ElementsAre(std::string("2 Modern Standby detection will be disabled: ") +
                    QV::win32_error("RegisterSuspendResumeNotification", ERROR_INVALID_PARAMETER).what()));
    EXPECT_EQ(obliging_system::calls, "create add message message message ");
}

TEST_F(wakeup_checker, tells_that_messages_failed) {
    obliging_system::has_messages = false;
    EXPECT_THAT(check(),
                ElementsAre("4 GetMessage failed: " + QV::get_error_string(ERROR_INVALID_WINDOW_HANDLE)));
    EXPECT_EQ(obliging_system::calls, "create add message message message remove ");
}

TEST_F(wakeup_checker, tells_that_it_is_still_registered) {
    obliging_system::removes = false;
    EXPECT_THAT(
        check(),
        ElementsAre(std::string("4 Failed to unregister from Modern standby notifications: ") +
                    QV::win32_error("UnregisterSuspendResumeNotification", ERROR_INVALID_HANDLE).what()));
}

} // namespace
