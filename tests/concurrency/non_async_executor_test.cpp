#include <QVSharedSupport/AsyncDynamicSemaphore.h>
#include <QVSharedSupport/non_async_executor.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/defer.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

namespace {

namespace asio = boost::asio;
using QV::non_async_executor;

static_assert(asio::execution::is_executor<non_async_executor>::value);
static_assert(asio::can_require<non_async_executor, asio::execution::blocking_t::always_t>::value);

TEST(non_async_executor, has_one_context_for_the_process) {
    const non_async_executor one;
    const non_async_executor two;
    EXPECT_EQ(&one.context(), &two.context());
    EXPECT_EQ(&asio::query(one, asio::execution::context), &one.context());
    EXPECT_EQ(one, two);
    EXPECT_EQ(asio::query(one, asio::execution::blocking), asio::execution::blocking.always);
}

TEST(non_async_executor, runs_dispatch_post_and_defer_inside_the_call) {
    std::vector<int> order;
    asio::dispatch(non_async_executor(), [&] { order.push_back(1); });
    asio::post(non_async_executor(), [&] { order.push_back(2); });
    asio::defer(non_async_executor(), [&] { order.push_back(3); });
    order.push_back(4);
    EXPECT_THAT(order, testing::ElementsAre(1, 2, 3, 4));
}

TEST(non_async_executor, takes_what_can_only_be_moved) {
    int seen = 0;
    asio::post(non_async_executor(), [&, number = std::make_unique<int>(7)] { seen = *number; });
    EXPECT_EQ(seen, 7);
}

TEST(non_async_executor, hands_the_exception_to_the_caller) {
    EXPECT_THROW(asio::post(non_async_executor(), [] { throw std::runtime_error("task"); }),
                 std::runtime_error);
}

TEST(non_async_executor, serves_strands_futures_and_coroutines) {
    std::vector<int> order;
    const auto strand = asio::make_strand(non_async_executor());
    asio::post(strand, [&] {
        asio::post(strand, [&] { order.push_back(1); }); // inside the call, here as well
        order.push_back(2);
    });
    asio::post(non_async_executor(), asio::use_future([&] { order.push_back(3); })).get();
    asio::co_spawn(
        non_async_executor(),
        [&]() -> asio::awaitable<void, non_async_executor> {
            order.push_back(4);
            co_return;
        },
        [&](const std::exception_ptr& failure) { order.push_back(failure ? 0 : 5); });
    EXPECT_THAT(order, testing::ElementsAre(1, 2, 3, 4, 5));
}

TEST(non_async_executor, fits_an_any_io_executor) {
    const asio::any_io_executor any = non_async_executor();
    bool ran = false;
    asio::post(any, [&] { ran = true; });
    EXPECT_TRUE(ran);
    EXPECT_EQ(any, asio::any_io_executor(non_async_executor()));

    QV::AsyncDynamicSemaphore semaphore(1);
    bool granted = false;
    semaphore.async_lock(
        any, [&](std::unique_lock<QV::AsyncDynamicSemaphore> held) { granted = held.owns_lock(); });
    EXPECT_TRUE(granted);
    EXPECT_TRUE(semaphore.try_lock());
    semaphore.unlock();
}

} // namespace
