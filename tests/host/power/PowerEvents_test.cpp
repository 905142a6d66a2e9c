#include <QVSharedSupport/PowerEvents.h>
#include <QVSharedSupport/threads.h>

#include "captured_log.h"
#include "checker_window.h"
#include "named_threads.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

namespace power = QV::SharedSupport::PowerEvents;
using power::sleep_enabler;
using testing::ElementsAre;
using clock = std::chrono::steady_clock;

// Before anything can have happened.
const clock::time_point wake_time_at_start = power::last_wake_time();

// The lines of a log as "level text".
std::vector<std::string> logged(const test::captured_log& log) {
    std::vector<std::string> lines;
    for (const test::log_line& line : log.lines()) {
        EXPECT_EQ(line.logger, "System");
        lines.push_back(std::to_string(static_cast<int>(line.level)) + ' ' + line.text);
    }
    return lines;
}

// What this system says to power requests: Wine does not have them.
std::string outcome_of(const std::string& what) {
    const bool refused = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    if (!refused) return "0 Sleep " + what + 'd';
    return "4 Unable to " + what +
           " sleep: " + QV::win32_error("PowerCreateRequest", ERROR_CALL_NOT_IMPLEMENTED).what();
}

const std::vector<std::string> disabling = {"0 Disabling sleep", "0 Attempting to disable sleep...",
                                            outcome_of("disable"), "0 Disabled sleep"};
const std::vector<std::string> enabling = {"0 Enabling sleep", "0 Attempting to enable sleep...",
                                           outcome_of("enable"), "0 Enabled sleep"};

static_assert(std::is_nothrow_move_constructible_v<sleep_enabler>);
static_assert(!std::is_copy_constructible_v<sleep_enabler>);
static_assert(!std::is_move_assignable_v<sleep_enabler>);
static_assert(!std::is_default_constructible_v<sleep_enabler>);
static_assert(sizeof(sleep_enabler) == 1);

TEST(sleep_enabler, asks_the_system_and_takes_no_for_an_answer) {
    std::optional<sleep_enabler> token;
    {
        const test::captured_log log;
        token.emplace(sleep_enabler::disable_sleep());
        EXPECT_EQ(logged(log), disabling); // the token that was moved from has said nothing
    }
    const test::captured_log log;
    token.reset();
    EXPECT_EQ(logged(log), enabling);
}

TEST(sleep_enabler, acts_once_however_often_it_is_moved) {
    auto first = std::make_unique<sleep_enabler>(sleep_enabler::disable_sleep());
    auto second = std::make_unique<sleep_enabler>(std::move(*first));
    auto third = std::make_unique<sleep_enabler>(std::move(*second));
    const test::captured_log log;
    const sleep_enabler nothing(std::move(*first)); // NOLINT(bugprone-use-after-move)
    second.reset();
    first.reset();
    EXPECT_TRUE(log.lines().empty());
    third.reset();
    EXPECT_EQ(logged(log), enabling);
}

TEST(sleep_enabler, enables_sleep_although_others_are_left) {
    auto first = std::make_unique<sleep_enabler>(sleep_enabler::disable_sleep());
    auto second = std::make_unique<sleep_enabler>(sleep_enabler::disable_sleep());
    for (auto* token : {&first, &second}) { // in the order they were made
        const test::captured_log log;
        token->reset();
        EXPECT_EQ(logged(log), enabling);
    }
}

TEST(sleep_enabler, is_made_and_moved_by_several_threads) {
    const test::captured_log log;
    std::mutex mutex;
    std::vector<sleep_enabler> pool; // each thread adds its own and takes somebody's away
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 20; ++j) {
                sleep_enabler own = sleep_enabler::disable_sleep();
                std::optional<sleep_enabler> other;
                const std::lock_guard lock(mutex);
                if (!pool.empty()) {
                    other.emplace(std::move(pool.back()));
                    pool.pop_back();
                }
                pool.push_back(std::move(own));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    pool.clear();
    int disabled = 0;
    int enabled = 0;
    for (const std::string& text : log.texts("System")) {
        if (text == "Disabled sleep") ++disabled;
        if (text == "Enabled sleep") ++enabled;
    }
    EXPECT_EQ(disabled, 160);
    EXPECT_EQ(enabled, 160);
}

// What a callback waits for, and what tells that it has come.
class gate {
public:
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
};

constexpr WPARAM sleeping = 4;
constexpr WPARAM waking = 18;

class power_events : public testing::Test {
protected:
    // The first of all is done by several threads at once.
    static void SetUpTestSuite() {
        if (!can_make_windows()) return;
        checker_window_watch watch;
        std::vector<std::thread> threads;
        for (int i = 0; i < 16; ++i)
            threads.emplace_back([i] {
                if (i % 2 == 0)
                    power::set_sleep_callback(nullptr);
                else
                    power::set_wakeup_callback(nullptr);
            });
        for (std::thread& thread : threads)
            thread.join();
        window = watch.wait();
    }
    void SetUp() override { ASSERT_NE(window, nullptr) << "windows need a display"; }
    void TearDown() override {
        power::set_sleep_callback(nullptr);
        power::set_wakeup_callback(nullptr);
    }

    // Tells the checker what the system would, and returns when it has acted on it.
    static LRESULT tell(WPARAM what) { return SendMessageA(window, WM_POWERBROADCAST, what, 0); }

    static inline HWND window = nullptr;
};

TEST_F(power_events, are_seen_by_one_thread_however_many_raced_to_start_it) {
    EXPECT_EQ(checker_windows(), std::vector<HWND>{window});
    const DWORD owner = GetWindowThreadProcessId(window, nullptr);
    bool found = false;
    for (void* const thread : threads_named(L"wakeup_checker")) {
        if (GetThreadId(thread) == owner)
            found = true;
        else
            WaitForSingleObject(thread, INFINITE); // one that came too late ends by itself
        CloseHandle(thread);
    }
    EXPECT_TRUE(found);
    EXPECT_EQ(count_threads_named(L"wakeup_checker"), 1);
}

TEST_F(power_events, have_no_time_before_the_first) {
    EXPECT_EQ(wake_time_at_start, clock::time_point());
}

TEST_F(power_events, leave_their_time_on_the_steady_clock) {
    for (const WPARAM what : {sleeping, waking, sleeping}) {
        const auto before = clock::now();
        tell(what);
        const auto after = clock::now();
        EXPECT_GE(power::last_wake_time(), before);
        EXPECT_LE(power::last_wake_time(), after);
    }
}

TEST_F(power_events, call_the_callback_of_their_kind_on_the_checker_thread) {
    std::string told;
    const auto tells = [&told](const char* what) {
        return [&told, what] {
            told += what + QV::GetCurrentThreadName().value_or("nobody") + ' ';
            EXPECT_EQ(GetCurrentThreadId(), GetWindowThreadProcessId(window, nullptr));
        };
    };
    power::set_sleep_callback(tells("sleep:"));
    power::set_wakeup_callback(tells("wake:"));
    const test::captured_log log;
    tell(sleeping);
    tell(waking);
    EXPECT_EQ(told, "sleep:wakeup_checker wake:wakeup_checker ");
    EXPECT_EQ(logged(log), (std::vector<std::string>{"0 Calling sleep callback", "0 Calling wake callback"}));
    EXPECT_EQ(log.lines()[0].thread_name, "wakeup_checker");
}

TEST_F(power_events, leave_other_messages_to_the_system) {
    int calls = 0;
    power::set_sleep_callback([&] { ++calls; });
    power::set_wakeup_callback([&] { ++calls; });
    const auto time = power::last_wake_time();
    for (const WPARAM what : {0u, 6u, 7u, 9u, 10u, 11u, 0x8013u})
        EXPECT_EQ(tell(what), DefWindowProcA(window, WM_POWERBROADCAST, what, 0));
    SendMessageA(window, WM_NULL, sleeping, 0);
    SendMessageA(window, WM_USER, waking, 0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(power::last_wake_time(), time);
    EXPECT_EQ(tell(sleeping), DefWindowProcA(window, WM_POWERBROADCAST, sleeping, 0));
    EXPECT_EQ(calls, 1);
}

TEST_F(power_events, need_no_callback) {
    const auto before = clock::now();
    tell(sleeping);
    EXPECT_GE(power::last_wake_time(), before);
}

TEST_F(power_events, survive_callbacks_that_throw) {
    power::set_sleep_callback([] { throw std::runtime_error("too tired"); });
    power::set_wakeup_callback([] { throw 1; });
    const test::captured_log log;
    tell(sleeping);
    tell(waking);
    EXPECT_THAT(logged(log),
                ElementsAre("0 Calling sleep callback", "4 Sleep callback failed: too tired",
                            "0 Calling wake callback", "4 Wake callback failed: unknown exception"));
}

TEST_F(power_events, may_set_callbacks_from_a_callback) {
    std::string told;
    power::set_sleep_callback([&, state = std::make_shared<std::string>("kept")] {
        power::set_wakeup_callback([&] { told += "wake "; });
        power::set_sleep_callback([&] { told += "second "; });
        told += *state + ' ';
    });
    tell(sleeping);
    tell(waking);
    tell(sleeping);
    EXPECT_EQ(told, "kept wake second ");
}

TEST_F(power_events, keep_a_callback_that_is_replaced_while_it_runs) {
    gate entered;
    gate leave;
    auto state = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = state;
    int calls = 0;
    power::set_sleep_callback([&, state = std::move(state)] {
        entered.open();
        leave.wait();
        calls += *state;
    });
    PostMessageA(window, WM_POWERBROADCAST, sleeping, 0);
    entered.wait();
    power::set_sleep_callback([&] { calls += 10; });
    EXPECT_FALSE(watch.expired());
    leave.open();
    tell(sleeping); // after the one before, as messages go one by one
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(calls, 11);
}

TEST_F(power_events, destroy_a_callback_before_its_replacement_is_set) {
    auto state = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = state;
    power::set_wakeup_callback([state = std::move(state)] {});
    EXPECT_FALSE(watch.expired());
    power::set_wakeup_callback(nullptr);
    EXPECT_TRUE(watch.expired());
}

TEST_F(power_events, may_be_set_by_many_threads_while_they_come) {
    std::vector<std::thread> threads;
    auto counts = std::make_shared<std::atomic<int>>(0);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            for (int j = 0; j < 50; ++j) {
                if (i % 2 == 0)
                    power::set_sleep_callback([counts] { ++*counts; });
                else
                    power::set_wakeup_callback([counts] { ++*counts; });
            }
        });
    for (int i = 0; i < 20; ++i)
        tell(i % 2 == 0 ? sleeping : waking);
    for (std::thread& thread : threads)
        thread.join();
    const int before = *counts;
    tell(sleeping);
    tell(waking);
    EXPECT_EQ(*counts, before + 2);
    EXPECT_EQ(checker_windows().size(), 1u);
}

} // namespace
