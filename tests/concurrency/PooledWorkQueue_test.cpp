#include <QVSharedSupport/PooledWorkQueue.h>

#include <QVSharedSupport/AsyncDynamicSemaphore.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/defer.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>

namespace {

namespace asio = boost::asio;
using QV::SharedSupport::named_thread_executor;
using QV::SharedSupport::PooledWorkQueue;

using named = named_thread_executor<asio::thread_pool::executor_type>;
static_assert(asio::execution::is_executor<named>::value);
static_assert(asio::can_require<named, asio::execution::blocking_t::never_t>::value);
static_assert(!asio::can_require<named, asio::execution::mapping_t::new_thread_t>::value);
static_assert(std::is_convertible_v<named, asio::any_io_executor>);
static_assert(std::is_same_v<decltype(std::declval<const PooledWorkQueue&>().get_executor()),
                             asio::strand<named_thread_executor<
                                 asio::thread_pool::basic_executor_type<std::allocator<void>, 0>>>>);

bool names_supported() {
    bool answer = false;
    QV::thread([&] { answer = QV::SetCurrentThreadName("") >= 0; }).join();
    return answer;
}

TEST(named_thread_executor, names_the_thread_for_the_length_of_the_function) {
    if (!names_supported()) GTEST_SKIP() << "this system has no thread descriptions";
    QV::thread([] {
        QV::SetCurrentThreadName("own");
        asio::io_context context;
        const named_thread_executor executor("restore", context.get_executor());
        EXPECT_EQ(executor.name(), "restore");
        std::optional<std::string> seen;
        asio::post(executor, [&] { seen = QV::GetCurrentThreadName(); });
        context.run();
        EXPECT_EQ(seen, "restore");
        EXPECT_EQ(QV::GetCurrentThreadName(), "own");

        asio::post(executor, [] { throw std::runtime_error("task"); });
        context.restart();
        EXPECT_THROW(context.run(), std::runtime_error);
        EXPECT_EQ(QV::GetCurrentThreadName(), "own") << "also when the function throws";

        asio::post(named_thread_executor("", context.get_executor()),
                   [&] { seen = QV::GetCurrentThreadName(); });
        context.restart();
        context.run();
        EXPECT_EQ(seen, "own") << "an empty name is none";
    }).join();
}

TEST(named_thread_executor, forwards_to_the_wrapped_executor) {
    asio::thread_pool pool(1);
    const named_thread_executor executor("a", pool.get_executor());
    EXPECT_EQ(&asio::query(executor, asio::execution::context), &pool);
    EXPECT_EQ(executor.get_inner_executor(), pool.get_executor());
    EXPECT_EQ(executor, named_thread_executor("a", pool.get_executor()));
    EXPECT_NE(executor, named_thread_executor("b", pool.get_executor()));
    EXPECT_NE(executor, asio::require(executor, asio::execution::blocking.never));
    EXPECT_EQ(asio::require(executor, asio::execution::blocking.never).name(), "a");
    std::unique_ptr<int> result =
        asio::dispatch(executor,
                       asio::use_future([p = std::make_unique<int>(3)]() mutable { return std::move(p); }))
            .get();
    EXPECT_EQ(*result, 3);
    asio::defer(executor, asio::use_future).get();
}

TEST(PooledWorkQueue, runs_one_piece_at_a_time_in_order_under_its_name) {
    asio::thread_pool pool(4);
    const PooledWorkQueue queue("device 3", pool.get_executor());
    std::vector<int> order; // plain: the strand keeps two pieces from touching it at once
    std::vector<int> expected;
    std::optional<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        asio::post(queue.get_executor(), [&, i] {
            order.push_back(i);
            seen = QV::GetCurrentThreadName();
        });
        expected.push_back(i);
    }
    pool.join();
    EXPECT_EQ(order, expected);
    if (names_supported()) {
        EXPECT_EQ(seen, "device 3");
    }
}

TEST(PooledWorkQueue, hands_out_executors_on_one_strand) {
    asio::thread_pool pool(2);
    const PooledWorkQueue queue("a", pool.get_executor());
    const PooledWorkQueue other("a", pool.get_executor());
    EXPECT_EQ(queue.get_executor(), queue.get_executor());
    EXPECT_NE(queue.get_executor(), other.get_executor());
    EXPECT_EQ(queue.get_executor().get_inner_executor().name(), "a");
    const auto executor = queue.get_executor();
    EXPECT_FALSE(executor.running_in_this_thread());
    EXPECT_TRUE(
        asio::post(executor, asio::use_future([&] { return executor.running_in_this_thread(); })).get());
}

TEST(PooledWorkQueue, may_go_before_its_work_is_done) {
    asio::thread_pool pool(2);
    std::atomic<int> ran = 0;
    {
        const PooledWorkQueue queue("short lived", pool.get_executor());
        for (int i = 0; i < 100; ++i)
            asio::post(queue.get_executor(), [&] { ++ran; });
    }
    pool.join();
    EXPECT_EQ(ran, 100);
}

TEST(PooledWorkQueue, serves_any_io_executor_semaphores_and_coroutines) {
    asio::thread_pool pool(2);
    const PooledWorkQueue queue("device", pool.get_executor());
    const asio::any_io_executor any = queue.get_executor();
    QV::AsyncDynamicSemaphore semaphore(1);
    std::optional<std::string> seen;
    semaphore.async_lock(
        any, [&](std::unique_lock<QV::AsyncDynamicSemaphore>) { seen = QV::GetCurrentThreadName(); });
    asio::co_spawn(
        queue.get_executor(), []() -> asio::awaitable<void> { co_await asio::post(asio::use_awaitable); },
        asio::use_future)
        .get();
    pool.join();
    if (names_supported()) {
        EXPECT_EQ(seen, "device");
    }
}

} // namespace
