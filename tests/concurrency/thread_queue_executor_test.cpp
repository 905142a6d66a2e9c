#include <QVSharedSupport/AsyncDynamicSemaphore.h>
#include <QVSharedSupport/thread_queue_executor.h>

#include <QVPlatformCompatibility/thread.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/defer.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;
using QV::SharedSupport::thread_queue;
using QV::SharedSupport::thread_queue_executor;
using testing::ElementsAre;

static_assert(asio::execution::is_executor<thread_queue_executor>::value);
static_assert(std::is_convertible_v<thread_queue_executor, asio::any_io_executor>);
static_assert(std::is_nothrow_copy_constructible_v<thread_queue_executor>);
static_assert(!asio::can_require<thread_queue_executor, asio::execution::blocking_t::always_t>::value);

constexpr auto never = thread_queue::clock::time_point::max();

/// The thread that runs the queue's tasks; it stays while `never` comes to nothing.
QV::thread::id worker_of(thread_queue& queue) {
    queue.push_async([] { FAIL() << "not in this century"; }, never);
    QV::thread::id worker = 0;
    queue.push_sync([&] { worker = QV::thread::current_id(); });
    return worker;
}

TEST(thread_queue_executor, runs_what_is_posted_on_the_worker_in_order) {
    std::vector<int> order;
    {
        thread_queue queue("io");
        const auto executor = queue.get_executor();
        asio::post(executor, [&] {
            // Not even here, where it could be, is anything run inside the call.
            asio::dispatch(executor, [&] { order.push_back(4); });
            order.push_back(1);
        });
        asio::post(executor, [&, only = std::make_unique<int>(2)] { order.push_back(*only); });
        asio::defer(executor, [&] { order.push_back(3); });
        while (asio::post(executor, asio::use_future([&] { return order.size(); })).get() != 4) {
        }
    }
    EXPECT_EQ(order.size(), 4U);
    EXPECT_EQ(order.front(), 1);
}

TEST(thread_queue_executor, hands_values_and_exceptions_to_futures) {
    thread_queue queue("io");
    auto value = asio::post(queue.get_executor(), asio::use_future([] { return 7; }));
    auto failure =
        asio::post(queue.get_executor(), asio::use_future([] { throw std::runtime_error("task"); }));
    EXPECT_EQ(value.get(), 7);
    EXPECT_THROW(failure.get(), std::runtime_error);
}

TEST(thread_queue_executor, is_equal_for_one_queue) {
    thread_queue queue("a", false);
    thread_queue copy(queue);
    thread_queue other("a", false);
    EXPECT_EQ(queue.get_executor(), queue.get_executor());
    EXPECT_EQ(queue.get_executor(), copy.get_executor());
    EXPECT_NE(queue.get_executor(), other.get_executor());
    EXPECT_TRUE(queue.same_queue(copy));
    EXPECT_FALSE(queue.same_queue(other));
    auto assigned = other.get_executor();
    assigned = queue.get_executor();
    EXPECT_EQ(assigned, queue.get_executor());
}

TEST(thread_queue_executor, of_an_empty_handle_gives_it_a_queue) {
    thread_queue queue(nullptr);
    EXPECT_TRUE(queue.same_queue(thread_queue(nullptr)));
    const auto executor = queue.get_executor();
    EXPECT_EQ(executor, queue.get_executor());
    asio::post(executor, asio::use_future).get();
}

TEST(thread_queue_executor, keeps_the_queue_but_does_not_wait_for_it) {
    std::promise<void> may_go;
    std::promise<void> ran;
    {
        thread_queue queue("io", true);
        {
            const auto executor = queue.get_executor();
            asio::post(executor, [&] {
                may_go.get_future().wait();
                ran.set_value();
            });
        } // would wait for the task
        may_go.set_value();
    }
    ran.get_future().wait();
    asio::any_io_executor kept;
    {
        thread_queue queue("io", false);
        kept = queue.get_executor();
    }
    asio::post(kept, asio::use_future).get();
}

TEST(thread_queue_executor, runs_coroutines_on_the_worker) {
    thread_queue queue("io", false);
    const auto worker = worker_of(queue);
    std::vector<QV::thread::id> seen;
    asio::co_spawn(
        queue.get_executor(),
        [&]() -> asio::awaitable<void> {
            seen.push_back(QV::thread::current_id());
            co_await asio::post(asio::use_awaitable);
            seen.push_back(QV::thread::current_id());
            co_await asio::dispatch(asio::use_awaitable);
            seen.push_back(QV::thread::current_id());
        },
        asio::use_future)
        .get();
    EXPECT_THAT(seen, ElementsAre(worker, worker, worker));
}

TEST(thread_queue_executor, a_coroutine_may_move_to_the_worker_and_back) {
    thread_queue queue("io", false);
    thread_queue home("home", false);
    const auto worker = worker_of(queue);
    const auto home_worker = worker_of(home);
    std::vector<QV::thread::id> seen;
    asio::co_spawn(
        home.get_executor(),
        [&]() -> asio::awaitable<void> {
            seen.push_back(QV::thread::current_id());
            co_await asio::post(asio::bind_executor(queue.get_executor(), asio::use_awaitable));
            seen.push_back(QV::thread::current_id());
            co_await asio::post(asio::use_awaitable);
            seen.push_back(QV::thread::current_id());
        },
        asio::use_future)
        .get();
    EXPECT_THAT(seen, ElementsAre(home_worker, worker, home_worker));
}

TEST(thread_queue_executor, a_waiting_queue_waits_for_its_coroutines) {
    std::atomic<bool> ended = false;
    {
        thread_queue queue("io", true);
        asio::co_spawn(
            queue.get_executor(),
            [&]() -> asio::awaitable<void> {
                for (int i = 0; i < 10; ++i)
                    co_await asio::post(asio::use_awaitable);
                ended = true;
            },
            asio::detached);
    }
    EXPECT_TRUE(ended);
}

TEST(thread_queue_executor, serves_timers_strands_and_semaphores) {
    thread_queue queue("io", false);
    const auto worker = worker_of(queue);
    QV::AsyncDynamicSemaphore semaphore(1);
    std::vector<QV::thread::id> seen;
    asio::co_spawn(
        queue.get_executor(),
        [&]() -> asio::awaitable<void> {
            const auto executor = co_await asio::this_coro::executor;
            asio::steady_timer timer(executor, 1ms);
            co_await timer.async_wait(asio::use_awaitable);
            seen.push_back(QV::thread::current_id());
            const auto held = co_await semaphore.async_lock(asio::use_awaitable);
            seen.push_back(QV::thread::current_id());
            EXPECT_TRUE(held.owns_lock());
        },
        asio::use_future)
        .get();
    const auto strand = asio::make_strand(queue.get_executor());
    seen.push_back(asio::post(strand, asio::use_future([] { return QV::thread::current_id(); })).get());
    EXPECT_THAT(seen, ElementsAre(worker, worker, worker));
}

TEST(thread_queue_executor, a_function_and_what_it_holds_are_gone_before_the_next_one_runs) {
    thread_queue queue("io", false);
    const auto executor = queue.get_executor();
    std::vector<long> left;
    for (int i = 0; i < 10; ++i) {
        auto alive = std::make_shared<int>();
        const std::weak_ptr<int> watch = alive;
        asio::post(executor, [alive = std::move(alive)] {});
        asio::post(executor, [&left, watch] { left.push_back(watch.use_count()); });
    }
    asio::post(executor, asio::use_future).get();
    EXPECT_EQ(left, std::vector<long>(10, 0));
}

} // namespace
