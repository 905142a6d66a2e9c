#include "../../helpers/death_test.h"

#include <QVPlatformCompatibility/thread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

static_assert(!std::is_copy_constructible_v<QV::thread> && !std::is_copy_assignable_v<QV::thread>);
static_assert(std::is_nothrow_move_constructible_v<QV::thread> &&
              std::is_nothrow_move_assignable_v<QV::thread>);

template <class Operation>
std::error_code error_of(Operation operation) {
    try {
        operation();
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

TEST(thread, without_a_thread_has_no_number) {
    QV::thread none;
    EXPECT_FALSE(none.joinable());
    EXPECT_EQ(none.get_id(), 0U);
    EXPECT_EQ(none.native_handle(), 0U);
    EXPECT_EQ(error_of([&] { none.join(); }), std::errc::invalid_argument);
    EXPECT_EQ(error_of([&] { none.detach(); }), std::errc::invalid_argument);
}

TEST(thread, runs_its_function_with_copies_of_the_arguments) {
    std::vector<int> seen;
    int number = 1;
    QV::thread worker(
        [&seen](int by_value, const std::unique_ptr<int>& moved) {
            seen = {by_value, *moved};
        },
        number, std::make_unique<int>(2));
    number = 9;
    worker.join();
    EXPECT_EQ(seen, (std::vector<int>{1, 2}));
    EXPECT_FALSE(worker.joinable());
    EXPECT_EQ(worker.get_id(), 0U);
}

struct counter {
    void add(int number) { sum += number; }
    int sum = 0;
};

TEST(thread, calls_member_functions_and_references_like_the_standard_one) {
    counter value;
    QV::thread worker(&counter::add, std::ref(value), 7);
    worker.join();
    EXPECT_EQ(value.sum, 7);
}

TEST(thread, its_number_is_known_at_once_and_equals_the_one_inside) {
    std::promise<QV::thread::id> inside;
    QV::thread worker([&] { inside.set_value(QV::thread::current_id()); });
    const QV::thread::id outside = worker.get_id();
    EXPECT_NE(outside, 0U);
    EXPECT_EQ(inside.get_future().get(), outside);
    EXPECT_NE(outside, QV::thread::current_id());
    worker.join();
}

TEST(thread, the_calling_thread_keeps_its_number) {
    EXPECT_NE(QV::thread::current_id(), 0U);
    EXPECT_EQ(QV::thread::current_id(), QV::thread::current_id());
}

TEST(thread, what_it_captured_is_destroyed_before_join_returns) {
    const auto held = std::make_shared<int>(0);
    QV::thread worker([copy = held] { EXPECT_GE(copy.use_count(), 2); });
    worker.join();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(thread, moving_hands_the_thread_over) {
    std::promise<void> go;
    QV::thread first([wait = go.get_future()]() mutable { wait.get(); });
    const auto number = first.get_id();
    QV::thread second(std::move(first));
    EXPECT_FALSE(first.joinable()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(second.get_id(), number);
    first = std::move(second);
    EXPECT_FALSE(second.joinable()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(first.get_id(), number);
    go.set_value();
    first.join();
}

TEST(thread, self_move_keeps_the_thread) {
    QV::thread worker([] {});
    QV::thread& same = worker;
    worker = std::move(same);
    EXPECT_TRUE(worker.joinable());
    worker.join();
}

TEST(thread, can_be_started_again_after_join_but_not_before) {
    std::atomic<int> runs{0};
    QV::thread worker;
    worker.start_thread([&] { ++runs; });
    EXPECT_EQ(error_of([&] { worker.start_thread([&] { runs += 100; }); }), std::errc::invalid_argument);
    worker.join();
    worker.start_thread([&] { ++runs; });
    worker.join();
    EXPECT_EQ(runs, 2);
}

TEST(thread, detached_runs_to_its_end) {
    std::promise<void> go;
    const auto done = std::make_shared<std::promise<void>>();
    QV::thread worker([wait = go.get_future(), done]() mutable {
        wait.get();
        done->set_value();
    });
    worker.detach();
    EXPECT_FALSE(worker.joinable());
    EXPECT_EQ(worker.get_id(), 0U);
    go.set_value();
    done->get_future().get();
}

TEST(thread, cannot_wait_for_itself) {
    std::promise<QV::thread*> self;
    std::error_code code;
    QV::thread worker([&, mine = self.get_future()]() mutable {
        QV::thread* const me = mine.get();
        code = error_of([&] { me->join(); });
    });
    self.set_value(&worker);
    worker.join();
    EXPECT_EQ(code, std::errc::resource_deadlock_would_occur);
}

TEST(thread, many_at_once_have_different_numbers) {
    std::promise<void> go;
    const std::shared_future<void> gate = go.get_future().share();
    std::atomic<int> runs{0};
    std::list<QV::thread> threads;
    std::set<QV::thread::id> numbers;
    for (int i = 0; i < 32; ++i) {
        threads.emplace_back([&runs, gate] {
            gate.wait();
            ++runs;
        });
        numbers.insert(threads.back().get_id());
    }
    go.set_value();
    for (QV::thread& worker : threads)
        worker.join();
    EXPECT_EQ(numbers.size(), 32U);
    EXPECT_EQ(runs, 32);
}

struct throws_when_copied {
    throws_when_copied() = default;
    throws_when_copied(const throws_when_copied&) { throw std::runtime_error("cannot be copied"); }
    void operator()() const {}
};

TEST(thread, a_function_that_cannot_be_copied_starts_nothing) {
    const throws_when_copied function;
    QV::thread worker;
    EXPECT_THROW(worker.start_thread(function), std::runtime_error);
    EXPECT_FALSE(worker.joinable());
}

using thread_death_test = test::death_test;

TEST_F(thread_death_test, destroying_a_joinable_one_ends_the_process) {
    EXPECT_DEATH({ const QV::thread worker([] {}); }, "neither joined nor detached");
}

TEST_F(thread_death_test, assigning_to_a_joinable_one_ends_the_process) {
    EXPECT_DEATH(
        {
            QV::thread worker([] {});
            worker = QV::thread();
        },
        "neither joined nor detached");
}

TEST_F(thread_death_test, an_exception_that_leaves_the_function_ends_the_process) {
    EXPECT_DEATH(
        {
            QV::thread worker([] { throw std::runtime_error("left the thread"); });
            worker.join();
        },
        "left the thread");
}

} // namespace
