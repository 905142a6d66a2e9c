#include "power_transitions.h"

#include "captured_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using QV::SharedSupport::PowerEvents::callback_slot;
using QV::SharedSupport::PowerEvents::power_transitions;
using clock_time = power_transitions::clock::time_point;
using namespace std::chrono_literals;
using testing::ElementsAre;

// A clock that a test sets.
clock_time set_time;
clock_time now() noexcept {
    return set_time;
}

class transitions_test : public testing::Test {
protected:
    test::captured_log log;
    power_transitions transitions{now};
};

TEST_F(transitions_test, have_no_time_before_the_first) {
    EXPECT_EQ(transitions.last(), clock_time());
    EXPECT_EQ(transitions.last().time_since_epoch().count(), 0);
}

TEST_F(transitions_test, keep_the_time_of_the_last_of_either_kind) {
    set_time = clock_time(5s);
    transitions.tell_sleep();
    EXPECT_EQ(transitions.last(), set_time);
    set_time = clock_time(7s);
    transitions.tell_wakeup();
    EXPECT_EQ(transitions.last(), set_time);
    set_time = clock_time(9s);
    transitions.tell_sleep();
    EXPECT_EQ(transitions.last(), set_time);
    EXPECT_THAT(log.texts("System"),
                ElementsAre("Calling sleep callback", "Calling wake callback", "Calling sleep callback"));
    for (const test::log_line& line : log.lines())
        EXPECT_EQ(line.level, QV::Logging::log_level::trace);
}

TEST_F(transitions_test, are_told_to_the_callback_of_their_kind) {
    std::string told;
    transitions.sleep.set(
        [&] { told += "sleep at " + std::to_string(transitions.last() == set_time) + ". "; });
    transitions.wakeup.set([&] { told += "wake. "; });
    set_time += 1s;
    transitions.tell_sleep();
    transitions.tell_wakeup();
    transitions.tell_wakeup();
    EXPECT_EQ(told, "sleep at 1. wake. wake. ");
}

TEST_F(transitions_test, are_told_to_nobody_without_a_callback) {
    transitions.tell_sleep();
    transitions.sleep.set(nullptr);
    transitions.tell_sleep();
    EXPECT_THAT(log.texts("System"), ElementsAre("Calling sleep callback", "Calling sleep callback"));
}

TEST_F(transitions_test, survive_callbacks_that_throw) {
    transitions.sleep.set([] { throw std::runtime_error("no time for this"); });
    transitions.wakeup.set([] { throw 1; });
    transitions.tell_sleep();
    transitions.tell_wakeup();
    EXPECT_THAT(log.texts("System"),
                ElementsAre("Calling sleep callback", "Sleep callback failed: no time for this",
                            "Calling wake callback", "Wake callback failed: unknown exception"));
    EXPECT_EQ(log.lines()[1].level, QV::Logging::log_level::error);
    EXPECT_EQ(log.lines()[3].level, QV::Logging::log_level::error);
}

TEST(callback_slot, may_be_set_by_its_own_callback) {
    callback_slot slot;
    std::string told;
    const auto state = std::make_shared<int>(1);
    slot.set([&, state] {
        slot.set([&] { told += "second "; });
        told += "first, with " + std::to_string(*state) + ' '; // it lives until it returns
    });
    EXPECT_EQ(state.use_count(), 2);
    slot.call("x");
    EXPECT_EQ(state.use_count(), 1);
    slot.call("x");
    EXPECT_EQ(told, "first, with 1 second ");
}

TEST(callback_slot, lets_go_of_a_callback_without_a_lock) {
    callback_slot slot;
    // Destroying it sets the slot once more; under the lock that would never return.
    {
        auto owned = std::shared_ptr<void>(nullptr, [&](void*) { slot.set(nullptr); });
        slot.set([owned = std::move(owned)] {});
    }
    bool called = false;
    slot.set([&] { called = true; });
    slot.call("x");
    EXPECT_FALSE(called) << "the one set last is the empty one";
}

TEST(callback_slot, may_be_replaced_while_others_call) {
    callback_slot slot;
    std::atomic<int> alive = 0;
    struct counted {
        explicit counted(std::atomic<int>& number) : count(number) { ++count; }
        counted(const counted&) = delete;
        counted& operator=(const counted&) = delete;
        ~counted() { --count; }
        std::atomic<int>& count;
    };
    std::atomic<bool> done = false;
    std::atomic<int> calls = 0;
    std::vector<std::thread> callers;
    for (int i = 0; i < 2; ++i)
        callers.emplace_back([&] {
            do
                slot.call("x");
            while (!done);
        });
    std::vector<std::thread> setters;
    for (int i = 0; i < 2; ++i)
        setters.emplace_back([&] {
            for (int j = 0; j < 500; ++j)
                slot.set([&calls, state = std::make_shared<counted>(alive)] {
                    if (state->count > 0) ++calls;
                });
        });
    for (std::thread& setter : setters)
        setter.join();
    done = true;
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(alive, 1);
    slot.call("x");
    EXPECT_GE(calls, 1);
    slot.set(nullptr);
    EXPECT_EQ(alive, 0);
}

} // namespace
