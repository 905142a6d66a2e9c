#include "../helpers/death_test.h"

#include <QVSharedSupport/AsyncDynamicSemaphore.h>
#include <QVSharedSupport/non_async_executor.h>

#include <QVPlatformCompatibility/thread.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using QV::AsyncDynamicSemaphore;
using slot = std::unique_lock<AsyncDynamicSemaphore>;
using testing::ElementsAre;
using testing::IsEmpty;

/// Queues acquirers by number, and notes which of them have been granted; keeps their slots.
struct waiters {
    explicit waiters(AsyncDynamicSemaphore& of) : semaphore(of) {}

    void queue(int number) {
        semaphore.async_lock(context.get_executor(), [this, number](slot granted) {
            EXPECT_TRUE(granted.owns_lock());
            EXPECT_EQ(granted.mutex(), &semaphore);
            order.push_back(number);
            slots.push_back(std::move(granted));
        });
    }
    /// Runs the handlers that have been posted and says who is in, in order.
    std::vector<int> granted() {
        context.restart();
        context.poll();
        return order;
    }

    AsyncDynamicSemaphore& semaphore;
    boost::asio::io_context context;
    std::vector<int> order;
    std::vector<slot> slots;
};

/// The number of free slots: takes them all and gives them back.
int free_slots(AsyncDynamicSemaphore& semaphore) {
    int count = 0;
    while (semaphore.try_lock())
        ++count;
    for (int i = 0; i < count; ++i)
        semaphore.unlock();
    return count;
}

TEST(AsyncDynamicSemaphore, is_lockable) {
    AsyncDynamicSemaphore semaphore(1);
    {
        const std::lock_guard held(semaphore);
        EXPECT_FALSE(slot(semaphore, std::try_to_lock).owns_lock());
    }
    EXPECT_TRUE(slot(semaphore, std::try_to_lock).owns_lock());
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, grants_as_many_slots_as_its_limit) {
    AsyncDynamicSemaphore semaphore(3);
    EXPECT_EQ(free_slots(semaphore), 3);
    const slot one(semaphore);
    EXPECT_EQ(free_slots(semaphore), 2);
}

TEST(AsyncDynamicSemaphore, takes_the_largest_limit) {
    AsyncDynamicSemaphore semaphore(0xFFFFFFFFU);
    const slot one(semaphore);
    semaphore.change_max_lockers(0);
    EXPECT_FALSE(semaphore.try_lock());
    semaphore.change_max_lockers(0xFFFFFFFFU);
    EXPECT_TRUE(slot(semaphore, std::try_to_lock).owns_lock());
}

TEST(AsyncDynamicSemaphore, a_failed_try_leaves_nothing_queued) {
    AsyncDynamicSemaphore semaphore(2);
    slot one(semaphore);
    const slot two(semaphore);
    EXPECT_FALSE(semaphore.try_lock());
    one.unlock();
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, never_calls_a_handler_inside_async_lock) {
    AsyncDynamicSemaphore semaphore(1);
    boost::asio::io_context context;
    bool called = false;
    boost::asio::post(context, [&] {
        // Even on a thread that runs the context, where dispatch() would call it at once.
        semaphore.async_lock(context.get_executor(), [&](slot) { called = true; });
        EXPECT_FALSE(called);
    });
    context.run();
    EXPECT_TRUE(called);
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, with_limit_0_waits_for_a_higher_one) {
    AsyncDynamicSemaphore semaphore(0);
    EXPECT_FALSE(semaphore.try_lock());
    waiters waiting(semaphore);
    waiting.queue(1);
    EXPECT_THAT(waiting.granted(), IsEmpty());
    semaphore.change_max_lockers(1);
    EXPECT_THAT(waiting.granted(), ElementsAre(1));
}

TEST(AsyncDynamicSemaphore, lock_blocks_until_the_limit_is_raised) {
    AsyncDynamicSemaphore semaphore(0);
    std::promise<void> about_to_lock;
    std::atomic<bool> raised = false;
    QV::thread locker([&] {
        about_to_lock.set_value();
        const std::lock_guard held(semaphore);
        EXPECT_TRUE(raised);
    });
    about_to_lock.get_future().wait();
    raised = true;
    semaphore.change_max_lockers(1);
    locker.join();
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, one_unlock_lets_only_the_oldest_in) {
    AsyncDynamicSemaphore semaphore(1);
    slot held(semaphore);
    waiters waiting(semaphore);
    waiting.queue(1);
    waiting.queue(2);
    held.unlock();
    EXPECT_THAT(waiting.granted(), ElementsAre(1));
    EXPECT_FALSE(semaphore.try_lock());
    waiting.slots.clear();
    EXPECT_THAT(waiting.granted(), ElementsAre(1, 2));
}

TEST(AsyncDynamicSemaphore, a_slot_passed_on_cannot_be_taken_in_between) {
    AsyncDynamicSemaphore semaphore(1);
    slot held(semaphore);
    waiters waiting(semaphore);
    waiting.queue(1);
    held.unlock();
    EXPECT_FALSE(semaphore.try_lock()) << "it is the waiter's, though its handler has not run";
    EXPECT_THAT(waiting.granted(), ElementsAre(1));
}

TEST(AsyncDynamicSemaphore, raising_the_limit_lets_in_all_who_fit_in_order) {
    AsyncDynamicSemaphore semaphore(2);
    const slot one(semaphore);
    const slot two(semaphore);
    waiters waiting(semaphore);
    for (const int number : {1, 2, 3, 4})
        waiting.queue(number);
    semaphore.change_max_lockers(5);
    EXPECT_THAT(waiting.granted(), ElementsAre(1, 2, 3));
    EXPECT_FALSE(semaphore.try_lock());
    semaphore.change_max_lockers(7);
    EXPECT_THAT(waiting.granted(), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, lowering_the_limit_takes_nothing_from_the_holders) {
    AsyncDynamicSemaphore semaphore(3);
    std::vector<slot> held;
    for (int i = 0; i < 3; ++i)
        held.emplace_back(semaphore);
    waiters waiting(semaphore);
    waiting.queue(1);
    semaphore.change_max_lockers(1);
    held.pop_back();
    EXPECT_THAT(waiting.granted(), IsEmpty());
    held.pop_back();
    EXPECT_THAT(waiting.granted(), IsEmpty());
    held.pop_back();
    EXPECT_THAT(waiting.granted(), ElementsAre(1));
}

TEST(AsyncDynamicSemaphore, blocking_and_asynchronous_waiters_share_one_queue) {
    AsyncDynamicSemaphore semaphore(1);
    semaphore.lock();
    waiters waiting(semaphore);
    waiting.queue(1);
    std::promise<void> about_to_lock;
    std::promise<void> locked;
    std::promise<void> may_unlock;
    QV::thread locker([&] {
        about_to_lock.set_value();
        semaphore.lock();
        locked.set_value();
        may_unlock.get_future().wait();
        semaphore.unlock();
    });
    about_to_lock.get_future().wait();
    semaphore.unlock();
    EXPECT_THAT(waiting.granted(), ElementsAre(1)) << "it came first";
    waiting.slots.clear();
    locked.get_future().wait();
    waiting.queue(2);
    EXPECT_THAT(waiting.granted(), ElementsAre(1));
    may_unlock.set_value();
    locker.join();
    EXPECT_THAT(waiting.granted(), ElementsAre(1, 2));
}

TEST(AsyncDynamicSemaphore, a_context_destroyed_with_the_handler_queued_gives_the_slot_back) {
    AsyncDynamicSemaphore semaphore(1);
    auto context = std::make_unique<boost::asio::io_context>();
    const auto alive = std::make_shared<int>();
    semaphore.async_lock(context->get_executor(), [alive](slot) { FAIL() << "nobody runs the context"; });
    EXPECT_FALSE(semaphore.try_lock());
    context.reset();
    EXPECT_EQ(alive.use_count(), 1) << "the handler is destroyed";
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, a_chain_of_waiters_on_a_destroyed_context_gives_every_slot_back) {
    AsyncDynamicSemaphore semaphore(1);
    auto context = std::make_unique<boost::asio::io_context>();
    for (int i = 0; i < 100'000; ++i)
        semaphore.async_lock(context->get_executor(), [](slot) { FAIL() << "nobody runs the context"; });
    context.reset();
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, a_chain_of_waiters_on_a_strand_that_has_been_shut_down_gives_every_slot_back) {
    AsyncDynamicSemaphore semaphore(1);
    const auto alive = std::make_shared<int>();
    {
        boost::asio::thread_pool pool(1);
        pool.stop();
        const auto strand = boost::asio::make_strand(pool.get_executor());
        // From then on the strand destroys whatever is given to it inside the call.
        for (int i = 0; i < 200'000; ++i)
            semaphore.async_lock(strand, [alive](slot) { FAIL() << "nobody runs the strand"; });
    }
    EXPECT_EQ(alive.use_count(), 1);
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, a_chain_of_waiters_that_run_at_once_needs_no_stack_for_each) {
    AsyncDynamicSemaphore semaphore(1);
    semaphore.lock();
    constexpr int count = 200'000;
    int next = 0;
    bool in_order = true;
    for (int i = 0; i < count; ++i) {
        if (i % 2 == 0)
            semaphore.async_lock(QV::non_async_executor(), [&, i](slot) { in_order &= next++ == i; });
        else
            semaphore.async_lock(QV::non_async_executor(),
                                 [&, i](boost::system::error_code, slot) { in_order &= next++ == i; });
    }
    semaphore.unlock();
    EXPECT_EQ(next, count);
    EXPECT_TRUE(in_order);
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, chains_of_two_semaphores_may_cross) {
    AsyncDynamicSemaphore one(1);
    AsyncDynamicSemaphore two(1);
    one.lock();
    two.lock();
    constexpr int count = 10'000;
    std::vector<int> order_of_one;
    std::vector<int> order_of_two;
    std::vector<int> expected;
    for (int i = 0; i < count; ++i) {
        expected.push_back(i);
        one.async_lock(QV::non_async_executor(), [&, i](slot mine) {
            order_of_one.push_back(i);
            two.unlock(); // the slot of the test, then those of the other chain
            mine.release();
        });
        two.async_lock(QV::non_async_executor(), [&, i](slot mine) {
            order_of_two.push_back(i);
            one.unlock();
            mine.release();
        });
    }
    one.unlock();
    EXPECT_EQ(order_of_one, expected);
    EXPECT_EQ(order_of_two, expected);
    EXPECT_EQ(free_slots(one), 1) << "the last of the other chain has given it back";
    two.unlock();
    EXPECT_EQ(free_slots(two), 1);
}

TEST(AsyncDynamicSemaphore, a_handler_that_runs_at_once_may_wait_for_whom_it_has_let_in) {
    AsyncDynamicSemaphore semaphore(1);
    semaphore.lock();
    std::promise<void> reached;
    semaphore.async_lock(QV::non_async_executor(), [&](slot mine) {
        mine.unlock();
        reached.get_future().wait();
    });
    boost::asio::thread_pool pool(1);
    semaphore.async_lock(pool.get_executor(), [&](slot) { reached.set_value(); });
    semaphore.unlock();
    pool.join();
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, serves_those_behind_a_handler_that_runs_at_once_and_fails) {
    AsyncDynamicSemaphore semaphore(1);
    semaphore.lock();
    constexpr int count = 100; // more than are called inside each other
    std::vector<int> order;
    std::vector<int> expected;
    for (int i = 0; i < count; ++i) {
        expected.push_back(i);
        semaphore.async_lock(QV::non_async_executor(), [&, i](slot) {
            order.push_back(i);
            throw std::runtime_error(std::to_string(i));
        });
    }
    try {
        semaphore.unlock();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& first) {
        // Each let the next in while its own failure was on its way out.
        EXPECT_EQ(order, expected) << first.what();
    }
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(AsyncDynamicSemaphore, a_stopped_pool_gives_the_slots_back) {
    AsyncDynamicSemaphore semaphore(2);
    {
        boost::asio::thread_pool pool(1);
        pool.stop();
        semaphore.async_lock(pool.get_executor(), [](slot) {});
        semaphore.async_lock(pool.get_executor(), [](slot) {});
        semaphore.async_lock(pool.get_executor(), [](slot) {});
    }
    EXPECT_EQ(free_slots(semaphore), 2);
}

TEST(AsyncDynamicSemaphore, a_handler_may_use_the_semaphore) {
    AsyncDynamicSemaphore semaphore(1);
    boost::asio::io_context context;
    std::vector<int> order;
    semaphore.async_lock(context.get_executor(), [&](slot first) {
        order.push_back(1);
        semaphore.async_lock(context.get_executor(), [&](slot) { order.push_back(3); });
        first.unlock();
        semaphore.change_max_lockers(2);
        EXPECT_TRUE(slot(semaphore, std::try_to_lock).owns_lock());
        order.push_back(2);
    });
    context.run();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_EQ(free_slots(semaphore), 2);
}

TEST(AsyncDynamicSemaphore, keeps_the_exception_of_a_handler_from_its_slot) {
    AsyncDynamicSemaphore semaphore(1);
    boost::asio::io_context context;
    semaphore.async_lock(context.get_executor(), [](slot) { throw std::runtime_error("handler"); });
    EXPECT_THROW(context.run(), std::runtime_error);
    EXPECT_EQ(free_slots(semaphore), 1);
}

std::string text_of_unlock(AsyncDynamicSemaphore& semaphore) {
    try {
        semaphore.unlock();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "nothing was thrown";
}

TEST(AsyncDynamicSemaphore, refuses_to_unlock_what_nobody_holds) {
    AsyncDynamicSemaphore semaphore(1);
    const std::string text = text_of_unlock(semaphore);
    EXPECT_THAT(text, testing::EndsWith(" Assertion l->count > 0 failed."));
    EXPECT_THAT(text, testing::HasSubstr("AsyncDynamicSemaphore.cpp:"));
    EXPECT_THAT(text, testing::HasSubstr("AsyncDynamicSemaphore::unlock()"));
    EXPECT_EQ(free_slots(semaphore), 1) << "usable as before";
}

using AsyncDynamicSemaphoreDeathTest = test::death_test;

TEST_F(AsyncDynamicSemaphoreDeathTest, destroying_it_with_a_slot_held_ends_the_process) {
    EXPECT_DEATH(
        {
            AsyncDynamicSemaphore semaphore(1);
            semaphore.lock();
        },
        "Assertion data.count == 0 failed.");
}

TEST_F(AsyncDynamicSemaphoreDeathTest, destroying_it_with_a_waiter_ends_the_process) {
    boost::asio::io_context context;
    EXPECT_DEATH(
        {
            AsyncDynamicSemaphore semaphore(0);
            semaphore.async_lock(context.get_executor(), [](slot) {});
        },
        "Assertion data.waiting_lockers.empty\\(\\) failed.");
}

TEST_F(AsyncDynamicSemaphoreDeathTest, the_slot_is_checked_before_the_queue) {
    boost::asio::io_context context;
    EXPECT_DEATH(
        {
            AsyncDynamicSemaphore semaphore(1);
            semaphore.lock();
            semaphore.async_lock(context.get_executor(), [](slot) {});
        },
        "Assertion data.count == 0 failed.");
}

TEST_F(AsyncDynamicSemaphoreDeathTest, an_empty_handler_ends_the_process) {
    boost::asio::io_context context;
    AsyncDynamicSemaphore semaphore(1);
    EXPECT_DEATH(semaphore.async_lock(context.get_executor(), nullptr), "Assertion handler failed.");
}

TEST_F(AsyncDynamicSemaphoreDeathTest, an_empty_executor_ends_the_process_whether_or_not_a_slot_is_free) {
    for (const unsigned int limit : {0U, 1U}) {
        AsyncDynamicSemaphore semaphore(limit);
        EXPECT_DEATH(semaphore.async_lock(boost::asio::any_io_executor(), [](slot) {}), "bad executor")
            << limit;
    }
}

} // namespace
