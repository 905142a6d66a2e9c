#include "../helpers/death_test.h"

#include <QVSharedSupport/thread_queue.h>

#include <QVSharedSupport/threads.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace std::chrono_literals;
using QV::SharedSupport::thread_queue;
using QV::SharedSupport::thread_queue_base;
using testing::ElementsAre;
using clock_type = std::chrono::steady_clock;

static_assert(!std::is_default_constructible_v<thread_queue_base>);
static_assert(!std::is_copy_constructible_v<thread_queue_base>, "a base, not a value");
static_assert(std::is_copy_constructible_v<thread_queue> && std::is_move_constructible_v<thread_queue>);
static_assert(!std::is_copy_assignable_v<thread_queue>);

constexpr auto never = clock_type::time_point::max();

bool names_supported() {
    bool answer = false;
    QV::thread([&] { answer = QV::SetCurrentThreadName("") >= 0; }).join();
    return answer;
}

/// Keeps the worker of a queue busy until `release()`.
class held_worker {
public:
    explicit held_worker(thread_queue& queue) {
        std::promise<void> started;
        queue.push_async([&started, gate = gate_] {
            started.set_value();
            gate.wait();
        });
        started.get_future().wait();
    }
    void release() {
        if (!std::exchange(released_, true)) open_.set_value();
    }
    ~held_worker() { release(); }

private:
    std::promise<void> open_;
    std::shared_future<void> gate_ = open_.get_future().share();
    bool released_ = false;
};

TEST(thread_queue, runs_asynchronous_tasks_on_a_thread_of_its_own) {
    std::promise<QV::thread::id> seen;
    thread_queue queue("io");
    queue.push_async([&] { seen.set_value(QV::thread::current_id()); });
    EXPECT_NE(seen.get_future().get(), QV::thread::current_id());
}

TEST(thread_queue, runs_a_synchronous_task_on_the_caller_while_idle) {
    std::optional<std::string> name_inside;
    std::optional<std::string> name_after;
    QV::thread([&] {
        QV::SetCurrentThreadName("caller");
        thread_queue queue("io");
        QV::thread::id seen = 0;
        queue.push_sync([&] {
            seen = QV::thread::current_id();
            name_inside = QV::GetCurrentThreadName();
        });
        name_after = QV::GetCurrentThreadName();
        EXPECT_EQ(seen, QV::thread::current_id());
    }).join();
    if (!names_supported()) GTEST_SKIP() << "this system has no thread descriptions";
    EXPECT_EQ(name_inside, "io");
    EXPECT_EQ(name_after, "caller");
}

TEST(thread_queue, without_a_name_leaves_the_callers_alone) {
    std::optional<std::string> name_inside;
    QV::thread([&] {
        QV::SetCurrentThreadName("caller");
        thread_queue queue;
        queue.push_sync([&] { name_inside = QV::GetCurrentThreadName(); });
    }).join();
    if (!names_supported()) GTEST_SKIP() << "this system has no thread descriptions";
    EXPECT_EQ(name_inside, "caller");
}

TEST(thread_queue, names_its_worker) {
    if (!names_supported()) GTEST_SKIP() << "this system has no thread descriptions";
    for (const auto& [name, expected] :
         {std::pair<std::string, std::string>("io", "io"), {"", "Unnamed thread_queue worker"}}) {
        std::optional<std::string> seen;
        {
            thread_queue queue(name);
            queue.push_async([&] { seen = QV::GetCurrentThreadName(); });
        }
        EXPECT_EQ(seen, expected);
    }
}

TEST(thread_queue, a_name_set_while_idle_is_the_next_workers) {
    if (!names_supported()) GTEST_SKIP() << "this system has no thread descriptions";
    std::optional<std::string> seen;
    {
        thread_queue queue("before");
        queue.set_name("after");
        queue.push_async([&] { seen = QV::GetCurrentThreadName(); });
    }
    EXPECT_EQ(seen, "after");
}

TEST(thread_queue, a_name_set_while_running_comes_before_everything_else) {
    if (!names_supported()) GTEST_SKIP() << "this system has no thread descriptions";
    std::optional<std::string> seen;
    {
        thread_queue queue("before");
        held_worker worker(queue);
        queue.push_async([&] { seen = QV::GetCurrentThreadName(); }, clock_type::time_point(1ns));
        queue.set_name("after");
        worker.release();
    }
    EXPECT_EQ(seen, "after");
}

TEST(thread_queue, a_sleeping_worker_takes_its_name_with_the_next_task) {
    std::optional<std::string> seen;
    std::promise<void> ran;
    thread_queue queue("before", false);
    queue.push_async([] { FAIL() << "not in this century"; }, never);
    // It sleeps, or is about to: the first entry is not due in either case.
    queue.set_name("after");
    queue.push_async([&] {
        seen = QV::GetCurrentThreadName();
        ran.set_value();
    });
    ran.get_future().wait(); // the change of name, which nobody was woken for, must not hide the task
    if (names_supported()) {
        EXPECT_EQ(seen, "after");
    }
}

TEST(thread_queue, runs_in_the_order_of_deadlines) {
    std::vector<int> order;
    {
        thread_queue queue("io");
        held_worker worker(queue);
        // The clock may have started not long ago: no deadline is an hour before now for certain.
        const clock_type::time_point zero;
        queue.push_async([&] { order.push_back(5); }, clock_type::now());
        queue.push_async([&] { order.push_back(3); }, zero + 1ns);
        queue.push_async([&] { order.push_back(4); }, zero + 2ns);
        queue.push_async([&] { order.push_back(1); }, clock_type::time_point::min());
        queue.push_async([&] { order.push_back(2); }, zero);
        worker.release();
    }
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4, 5));
}

TEST(thread_queue, runs_tasks_of_one_deadline_in_the_order_of_submission) {
    std::vector<int> order;
    std::vector<int> expected;
    {
        thread_queue queue("io");
        held_worker worker(queue);
        const auto deadline = clock_type::now();
        for (int i = 0; i < 100; ++i) {
            queue.push_async([&, i] { order.push_back(i); }, deadline);
            expected.push_back(i);
        }
        worker.release();
    }
    EXPECT_EQ(order, expected);
}

TEST(thread_queue, an_earlier_task_runs_while_the_worker_sleeps_towards_a_later_one) {
    thread_queue queue("io", false);
    queue.push_async([] { FAIL() << "not in this century"; }, never);
    queue.push_async([] { FAIL() << "not today"; }, 1000h);
    // No task can be seen to wait, so it is repeated: now the worker sleeps, now it is on its way there.
    for (int i = 0; i < 1000; ++i) {
        std::promise<void> ran;
        queue.push_async([&] { ran.set_value(); });
        ran.get_future().wait();
    }
}

TEST(thread_queue, a_task_is_never_early) {
    std::vector<bool> early;
    {
        thread_queue queue("io");
        for (int i = 0; i < 20; ++i) {
            const auto deadline = clock_type::now() + std::chrono::milliseconds(i);
            queue.push_async([&early, deadline] { early.push_back(clock_type::now() < deadline); }, deadline);
        }
    }
    EXPECT_EQ(early, std::vector<bool>(20, false));
}

TEST(thread_queue, delays_of_every_size_are_taken) {
    std::vector<int> order;
    {
        thread_queue queue("io");
        held_worker worker(queue);
        queue.push_async([&] { order.push_back(3); }, std::chrono::duration<double>(0.001));
        queue.push_async([&] { order.push_back(1); }, -1h);
        queue.push_async([&] { order.push_back(2); }, std::chrono::nanoseconds(0));
        worker.release();
    }
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    thread_queue far("far", false);
    far.push_async([] { FAIL(); }, std::chrono::hours::max());
    far.push_async([] { FAIL(); }, clock_type::duration::max());
    far.push_async([] { FAIL(); }, 0xFFFFFFFFLL * 1ms); // more than 32 bits of milliseconds in the end
    far.push_sync([] {});
}

TEST(thread_queue, its_worker_ends_when_it_has_nothing_left_and_the_next_task_gets_a_new_one) {
    static thread_local int tasks_on_this_thread = 0;
    thread_queue queue("io");
    // A worker that has run its task may still be on its way out when the next one comes, and then takes it.
    // Sooner or later each is gone first.
    constexpr int most_tasks = 1'000'000;
    int workers = 0;
    for (int tasks = 0; workers < 3 && tasks < most_tasks; ++tasks) {
        const auto ran = std::make_shared<std::promise<int>>();
        queue.push_async([ran] { ran->set_value(++tasks_on_this_thread); });
        if (ran->get_future().get() == 1) ++workers;
        std::this_thread::yield();
    }
    EXPECT_EQ(workers, 3);
}

TEST(thread_queue, a_synchronous_task_runs_on_the_worker_while_there_is_one) {
    thread_queue queue("io", false);
    queue.push_async([] { FAIL(); }, never); // keeps the worker
    QV::thread::id worker = 0;
    queue.push_sync([&] { worker = QV::thread::current_id(); });
    EXPECT_NE(worker, QV::thread::current_id());
    QV::thread::id again = 0;
    queue.push_sync([&] { again = QV::thread::current_id(); });
    EXPECT_EQ(again, worker);
}

TEST(thread_queue, hands_the_exception_of_a_synchronous_task_to_its_caller) {
    const auto throwing = [] { throw std::runtime_error("task"); };
    thread_queue queue("io", false);
    const auto expect_failure = [&](bool allow_from_worker) {
        try {
            queue.push_sync(throwing, allow_from_worker);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "task");
        }
    };
    expect_failure(false);                          // on this thread
    queue.push_sync([&] { expect_failure(true); }); // on this thread, from inside
    queue.push_async([] { FAIL(); }, never);
    expect_failure(false);                          // on the worker
    queue.push_sync([&] { expect_failure(true); }); // on the worker, from inside
    bool ran = false;
    queue.push_sync([&] { ran = true; });
    EXPECT_TRUE(ran) << "usable as before";
}

TEST(thread_queue, an_empty_synchronous_task_is_reported) {
    thread_queue queue("io", false);
    EXPECT_THROW(queue.push_sync(nullptr), std::bad_function_call);
    queue.push_async([] { FAIL(); }, never);
    EXPECT_THROW(queue.push_sync(nullptr), std::bad_function_call);
}

TEST(thread_queue, refuses_a_synchronous_task_from_its_own_worker) {
    thread_queue queue("io", false);
    bool ran = false;
    const auto push_from_inside = [&] {
        try {
            queue.push_sync([&] { ran = true; });
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "Trying to push synchronously from the current thread");
        }
        EXPECT_FALSE(ran);
        queue.push_sync([&] { ran = true; }, true);
        EXPECT_TRUE(ran);
        ran = false;
    };
    queue.push_sync(push_from_inside); // this thread stands in for the worker
    queue.push_async([] { FAIL(); }, never);
    queue.push_sync(push_from_inside); // the worker
}

TEST(thread_queue, tasks_queued_during_an_inline_task_get_a_worker_also_when_it_throws) {
    for (const bool throws : {false, true}) {
        std::promise<QV::thread::id> seen;
        thread_queue queue("io");
        const auto task = [&] {
            queue.push_async([&] { seen.set_value(QV::thread::current_id()); });
            if (throws) throw std::runtime_error("task");
        };
        if (throws)
            EXPECT_THROW(queue.push_sync(task), std::runtime_error);
        else
            queue.push_sync(task);
        EXPECT_NE(seen.get_future().get(), QV::thread::current_id());
    }
}

TEST(thread_queue, a_synchronous_task_waits_for_one_that_runs_on_another_thread) {
    thread_queue queue("io");
    std::promise<void> inside;
    std::promise<void> may_end;
    std::atomic<bool> first_ended = false;
    QV::thread other([&] {
        queue.push_sync([&] {
            inside.set_value();
            may_end.get_future().wait();
            first_ended = true;
        });
    });
    inside.get_future().wait();
    may_end.set_value();
    queue.push_sync([&] { EXPECT_TRUE(first_ended); });
    other.join();
}

TEST(thread_queue, a_task_and_what_it_captured_are_gone_before_push_sync_returns) {
    thread_queue queue("io", false);
    queue.push_async([] { FAIL(); }, never);
    for (int i = 0; i < 100; ++i) {
        auto alive = std::make_shared<int>();
        const std::weak_ptr<int> watch = alive;
        queue.push_sync([alive = std::move(alive)] {});
        EXPECT_TRUE(watch.expired());
    }
}

TEST(thread_queue, an_empty_handle_makes_a_queue_when_it_needs_one) {
    int ran = 0;
    {
        thread_queue queue(nullptr);
        queue.push_async([&] { ++ran; });
    }
    EXPECT_EQ(ran, 1);
    {
        thread_queue queue(nullptr);
        queue.push_sync([&] { ++ran; });
    }
    {
        thread_queue queue(nullptr, false);
        queue.make_valid();
        thread_queue copy(queue);
        copy.push_sync([&] { ++ran; });
    }
    {
        thread_queue queue(nullptr);
        queue.set_name("io");
        queue.push_async([&] { ++ran; });
    }
    const thread_queue unused(nullptr);
    EXPECT_EQ(ran, 4);
}

TEST(thread_queue, a_handle_that_was_moved_from_starts_anew) {
    std::vector<int> order;
    {
        thread_queue queue("io");
        held_worker worker(queue);
        thread_queue moved(std::move(queue));
        moved.push_async([&] { order.push_back(2); });
        queue.push_sync([&] { order.push_back(1); }); // NOLINT(bugprone-use-after-move): that is the point
        worker.release();
    }
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(thread_queue, copies_feed_one_worker) {
    thread_queue queue("io", false);
    queue.push_async([] { FAIL(); }, never);
    thread_queue copy(queue);
    QV::thread::id one = 0;
    QV::thread::id two = 0;
    queue.push_sync([&] { one = QV::thread::current_id(); });
    copy.push_sync([&] { two = QV::thread::current_id(); });
    EXPECT_EQ(one, two);
}

TEST(thread_queue, a_waiting_handle_waits_for_all_tasks) {
    std::atomic<int> ran = 0;
    {
        thread_queue queue("io", true);
        for (int i = 0; i < 100; ++i)
            queue.push_async([&] { ++ran; }, std::chrono::milliseconds(i % 10));
    }
    EXPECT_EQ(ran, 100);
}

TEST(thread_queue, a_waiting_handle_waits_for_the_other_handles) {
    std::promise<void> may_drop;
    std::atomic<bool> dropped = false;
    QV::thread other;
    {
        thread_queue queue("io", true);
        auto copy = std::make_unique<thread_queue>(queue);
        other.start_thread([&, copy = std::move(copy)]() mutable {
            may_drop.get_future().wait();
            dropped = true;
            copy.reset(); // waits as well: both are let go together
        });
        may_drop.set_value();
    }
    EXPECT_TRUE(dropped);
    other.join();
}

TEST(thread_queue, a_handle_that_does_not_wait_leaves_the_worker_to_finish_alone) {
    std::promise<void> may_go;
    std::promise<void> ran;
    {
        thread_queue queue("io", false);
        queue.push_async([&] { may_go.get_future().wait(); });
        queue.push_async([&] { ran.set_value(); });
    }
    may_go.set_value(); // the destructor has returned
    ran.get_future().wait();
}

TEST(thread_queue, the_last_handle_may_be_dropped_by_the_worker) {
    std::promise<void> destroyed;
    {
        auto queue = std::make_unique<thread_queue>("io", true);
        thread_queue* const raw = queue.get();
        raw->push_async([&destroyed, owner = std::make_shared<std::unique_ptr<thread_queue>>(
                                         std::move(queue))]() mutable {
            owner->reset(); // would wait for this very thread
            destroyed.set_value();
        });
    }
    destroyed.get_future().wait();
}

TEST(thread_queue, the_last_handle_may_be_dropped_by_an_inline_task) {
    auto queue = std::make_unique<thread_queue>("io", true);
    bool ran = false;
    thread_queue* const raw = queue.get();
    raw->push_sync([&] {
        queue.reset();
        ran = true;
    });
    EXPECT_TRUE(ran);
}

TEST(thread_queue, a_handle_held_by_a_task_goes_with_the_task) {
    std::atomic<bool> ran = false;
    {
        thread_queue queue("io", true);
        queue.push_async([copy = queue, &ran] { ran = true; });
    }
    EXPECT_TRUE(ran);
}

TEST(thread_queue, swap_exchanges_the_queues_but_not_the_waiting) {
    std::promise<void> may_go;
    std::promise<void> ran;
    {
        thread_queue patient("patient", true);
        {
            thread_queue hasty("hasty", false);
            patient.push_async([&] {
                may_go.get_future().wait();
                ran.set_value();
            });
            swap(patient, hasty);
        } // holds the queue with the task now, and returns all the same
        patient.push_sync([] {});
    }
    may_go.set_value();
    ran.get_future().wait();
}

TEST(thread_queue, swap_with_an_empty_handle) {
    int ran = 0;
    thread_queue empty(nullptr);
    {
        thread_queue queue("io");
        queue.swap(empty);
        queue.push_sync([&] { ++ran; });
    }
    empty.push_sync([&] { ++ran; });
    empty.swap(empty);
    empty.push_sync([&] { ++ran; });
    EXPECT_EQ(ran, 3);
}

TEST(thread_queue, handles_may_go_in_every_order_while_tasks_remain) {
    std::atomic<int> ran = 0;
    int expected = 0;
    for (unsigned order = 0; order < 6; ++order) {
        std::vector<std::unique_ptr<thread_queue>> handles;
        handles.push_back(std::make_unique<thread_queue>("io", false));
        handles.push_back(std::make_unique<thread_queue>(*handles[0]));
        handles.push_back(std::make_unique<thread_queue>(std::move(*handles[0])));
        std::promise<void> all_ran;
        {
            held_worker worker(*handles[1]);
            for (const std::size_t index : {1U, 2U})
                handles[index]->push_async([&] { ++ran; });
            expected += 2;
            handles[2]->push_async([&] { all_ran.set_value(); });
            for (unsigned left = 3, code = order; left != 0; code /= left, --left)
                handles.erase(handles.begin() + static_cast<std::ptrdiff_t>(code % left));
        }
        all_ran.get_future().wait();
        EXPECT_EQ(ran, expected);
    }
}

using thread_queueDeathTest = test::death_test;

TEST_F(thread_queueDeathTest, an_exception_that_leaves_an_asynchronous_task_ends_the_process) {
    EXPECT_DEATH(
        {
            thread_queue queue("io");
            queue.push_async([] { throw std::runtime_error("nobody catches this"); });
        },
        "nobody catches this");
}

TEST_F(thread_queueDeathTest, the_process_may_end_with_a_worker_alive) {
    EXPECT_EXIT(
        {
            thread_queue queue("io", false);
            queue.push_async([] {}, never);
            std::exit(7);
        },
        testing::ExitedWithCode(7), "");
}

} // namespace
