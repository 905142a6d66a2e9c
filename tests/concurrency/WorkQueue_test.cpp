#include "../helpers/death_test.h"

#include <QVSharedSupport/WorkQueue.h>

#include <QVSharedSupport/threads.h>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>

namespace {

namespace asio = boost::asio;
using QV::SharedSupport::WorkQueue;
using testing::ElementsAre;

/// The names of the threads that run `queue`, when there are exactly `count`: each waits for all the others.
std::set<std::string> names_of_threads(WorkQueue& queue, std::size_t count) {
    struct meeting {
        std::mutex mutex;
        std::condition_variable all_here;
        std::size_t here = 0;
        std::size_t gone = 0;
        std::set<std::string> names;
    } place;
    for (std::size_t i = 0; i < count; ++i)
        asio::post(queue.get_executor(), [&] {
            std::unique_lock lock(place.mutex);
            place.names.insert(QV::GetCurrentThreadName().value_or("unknown"));
            ++place.here;
            place.all_here.notify_all();
            place.all_here.wait(lock, [&] { return place.here == count; });
            ++place.gone;
            place.all_here.notify_all();
        });
    std::unique_lock lock(place.mutex);
    place.all_here.wait(lock, [&] { return place.gone == count; });
    return place.names;
}

class WorkQueue_names : public testing::Test {
protected:
    void SetUp() override {
        bool supported = false;
        QV::thread([&] { supported = QV::SetCurrentThreadName("") >= 0; }).join();
        if (!supported) GTEST_SKIP() << "this system has no thread descriptions";
    }
};

TEST_F(WorkQueue_names, one_thread_is_the_least) {
    WorkQueue queue("io", false);
    queue.start();
    EXPECT_THAT(names_of_threads(queue, 1), ElementsAre("io[0]"));
    queue.reset();
    queue.join();
}

TEST_F(WorkQueue_names, a_queue_without_a_name_has_numbers_only) {
    WorkQueue queue;
    EXPECT_THAT(names_of_threads(queue, 1), ElementsAre("[0]"));
}

TEST_F(WorkQueue_names, threads_owed_replace_the_first_one) {
    WorkQueue queue("io", false);
    queue.add_thread();
    queue.add_thread();
    queue.start();
    EXPECT_THAT(names_of_threads(queue, 2), ElementsAre("io[0]", "io[1]"));
}

TEST_F(WorkQueue_names, a_thread_added_to_a_running_queue_runs_at_once) {
    WorkQueue queue("io", true);
    queue.add_thread();
    queue.add_thread();
    EXPECT_THAT(names_of_threads(queue, 3), ElementsAre("io[0]", "io[1]", "io[2]"));
}

TEST_F(WorkQueue_names, starting_twice_changes_nothing) {
    WorkQueue queue("io", true);
    queue.add_thread();
    queue.start();
    EXPECT_THAT(names_of_threads(queue, 2), ElementsAre("io[0]", "io[1]"));
}

TEST_F(WorkQueue_names, a_restart_brings_back_as_many_threads) {
    WorkQueue queue("io", true);
    queue.add_thread();
    queue.stop();
    queue.add_thread();
    queue.start();
    EXPECT_THAT(names_of_threads(queue, 3), ElementsAre("io[0]", "io[1]", "io[2]"));
    queue.stop();
    queue.join();
    queue.start();
    EXPECT_THAT(names_of_threads(queue, 3), ElementsAre("io[0]", "io[1]", "io[2]"));
}

TEST(WorkQueue, keeps_what_is_posted_while_it_is_stopped) {
    WorkQueue queue("io", true);
    queue.stop();
    queue.stop();
    queue.join();
    std::future<void> ran = asio::post(queue.get_executor(), asio::use_future);
    queue.start();
    ran.wait();
}

TEST(WorkQueue, does_its_work_before_it_is_destroyed) {
    std::atomic<int> ran = 0;
    {
        WorkQueue queue("io", true);
        for (int i = 0; i < 1000; ++i)
            asio::post(queue.get_executor(), [&] { ++ran; });
    }
    EXPECT_EQ(ran, 1000);
}

TEST(WorkQueue, waits_for_a_long_handler_when_it_is_destroyed) {
    std::promise<void> inside;
    std::promise<void> may_end;
    std::atomic<bool> ended = false;
    {
        WorkQueue queue("io", true);
        asio::post(queue.get_executor(), [&] {
            inside.set_value();
            may_end.get_future().wait();
            ended = true;
        });
        inside.get_future().wait();
        queue.stop();
        may_end.set_value();
    }
    EXPECT_TRUE(ended);
}

TEST(WorkQueue, destroys_unrun_what_was_queued_when_it_was_stopped) {
    const auto alive = std::make_shared<int>();
    std::promise<void> inside;
    std::promise<void> may_end;
    {
        WorkQueue queue("io", true);
        asio::post(queue.get_executor(), [&] {
            inside.set_value();
            may_end.get_future().wait();
        });
        inside.get_future().wait();
        asio::post(queue.get_executor(), [alive] {}); // on Windows the stop stands behind it
        queue.stop();
        for (int i = 0; i < 100; ++i)
            asio::post(queue.get_executor(), [alive] { FAIL() << "the queue was stopped"; });
        may_end.set_value();
    }
    EXPECT_EQ(alive.use_count(), 1);
}

TEST(WorkQueue, destroys_unrun_what_was_queued_when_it_was_never_started) {
    const auto alive = std::make_shared<int>();
    {
        WorkQueue queue("io", false);
        asio::post(queue.get_executor(), [alive] { FAIL() << "never started"; });
    }
    EXPECT_EQ(alive.use_count(), 1);
}

/// Destroys a queue while `handler` runs on its thread.
void destroy_while_it_runs(const std::function<void(WorkQueue&)>& handler) {
    auto queue = std::make_unique<WorkQueue>("io", true);
    std::promise<void> inside;
    std::promise<void> ending;
    asio::post(queue->get_executor(), [&, &of_handler = *queue] {
        inside.set_value();
        ending.get_future().wait();
        handler(of_handler);
    });
    inside.get_future().wait();
    QV::thread([&] {
        ending.set_value();
        queue.reset();
    }).join();
}

TEST(WorkQueue, may_be_added_to_and_reset_by_a_handler_that_its_destructor_waits_for) {
    constexpr int added = 40; // the list of threads grows several times meanwhile
    std::atomic<int> ran = 0;
    destroy_while_it_runs([&](WorkQueue& queue) {
        for (int i = 0; i < added; ++i) {
            asio::post(queue.get_executor(), [&] { ++ran; });
            queue.add_thread();
            queue.reset();
        }
    });
    EXPECT_EQ(ran, added);
}

TEST(WorkQueue, may_be_stopped_by_a_handler_that_its_destructor_waits_for) {
    const auto alive = std::make_shared<int>();
    destroy_while_it_runs([&](WorkQueue& queue) {
        queue.stop();
        asio::post(queue.get_executor(), [alive] { FAIL() << "the queue was stopped"; });
        queue.add_thread(); // one that is owed, and never made
    });
    EXPECT_EQ(alive.use_count(), 1);
}

TEST(WorkQueue, ends_when_there_is_no_work_after_reset) {
    WorkQueue queue("io", true);
    queue.reset();
    queue.join();
    queue.reset();
    bool ran = false;
    queue.stop();
    asio::post(queue.get_executor(), [&] { ran = true; });
    queue.start();
    queue.join();
    EXPECT_TRUE(ran) << "a later start does what there is";
}

TEST(WorkQueue, a_stopped_context_can_be_made_fit_to_run) {
    WorkQueue queue("io", true);
    queue.stop();
    queue.join();
    asio::io_context& context = queue.get_executor().context();
    EXPECT_TRUE(context.stopped());
    queue.reset_context();
    EXPECT_FALSE(context.stopped());
    int ran = 0;
    asio::post(context, [&] { ++ran; });
    context.poll();
    EXPECT_EQ(ran, 1);
    queue.start();
    queue.reset_context(); // while it runs: nothing
    asio::post(queue.get_executor(), asio::use_future).wait();
}

// One of the calls that may come in any order.
void make_call(WorkQueue& queue, unsigned which) {
    switch (which) {
    case 0:
        queue.start();
        return;
    case 1:
        queue.stop();
        return;
    case 2:
        queue.add_thread();
        return;
    case 3:
        queue.reset_context();
        return;
    default:
        queue.reset();
    }
}

TEST(WorkQueue, takes_its_calls_in_every_order) {
    // Each number spells one sequence of six calls in base 4.
    for (unsigned code = 0; code < 4096; code += CALL_ORDER_STEP) {
        WorkQueue queue("io", (code & 1U) != 0);
        std::promise<void> done;
        for (unsigned rest = code, i = 0; i < 6; ++i, rest /= 4)
            make_call(queue, rest % 4);
        queue.start();
        asio::post(queue.get_executor(), [&] { done.set_value(); });
        done.get_future().wait();
    }
}

TEST(WorkQueue, takes_reset_at_any_time) {
    // Each number spells one sequence of six calls in base 5.
    for (unsigned code = 0; code < 15625; code += 7 * CALL_ORDER_STEP) {
        std::atomic<int> ran = 0;
        WorkQueue queue("io", (code & 1U) != 0);
        for (unsigned rest = code, i = 0; i < 6; ++i, rest /= 5)
            make_call(queue, rest % 5);
        // Its threads may have run out of work and gone: what is posted now waits for the next start.
        asio::post(queue.get_executor(), [&] { ++ran; });
        queue.reset();
        queue.stop();
        queue.start();
        queue.join();
        EXPECT_EQ(ran, 1) << "sequence " << code;
    }
}

TEST(WorkQueue, its_handlers_may_stop_it_and_add_to_it) {
    WorkQueue queue("io", true);
    std::promise<void> done;
    asio::post(queue.get_executor(), [&] {
        queue.add_thread();
        queue.stop();
        done.set_value();
    });
    done.get_future().wait();
    queue.start();
    asio::post(queue.get_executor(), asio::use_future).wait();
}

TEST(WorkQueue, refuses_to_wait_for_its_own_thread) {
    WorkQueue queue("io", true);
    auto failure = asio::post(queue.get_executor(), asio::use_future([&] {
                                  queue.stop();
                                  queue.start();
                              }));
    EXPECT_THROW(failure.get(), std::system_error);
    queue.start();
    asio::post(queue.get_executor(), asio::use_future).wait();
}

TEST(WorkQueue, serves_coroutines) {
    WorkQueue queue("io", true);
    QV::thread::id inside = 0;
    asio::co_spawn(
        queue.get_executor(),
        [&]() -> asio::awaitable<void> {
            co_await asio::post(queue.get_executor(), asio::use_awaitable);
            inside = QV::thread::current_id();
        },
        asio::use_future)
        .get();
    EXPECT_NE(inside, QV::thread::current_id());
}

using WorkQueueDeathTest = test::death_test;

TEST_F(WorkQueueDeathTest, an_exception_that_leaves_a_handler_ends_the_process) {
    EXPECT_DEATH(
        {
            WorkQueue queue("io", true);
            asio::post(queue.get_executor(), [] { throw std::runtime_error("nobody catches this"); });
            queue.join();
        },
        "nobody catches this");
}

} // namespace
