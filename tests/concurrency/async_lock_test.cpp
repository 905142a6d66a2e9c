#include <QVSharedSupport/AsyncDynamicSemaphore.h>
#include <QVSharedSupport/WorkQueue.h>

#include <QVPlatformCompatibility/thread.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using QV::AsyncDynamicSemaphore;
using slot = std::unique_lock<AsyncDynamicSemaphore>;
using testing::ElementsAre;

constexpr auto all_types = {asio::cancellation_type::terminal, asio::cancellation_type::partial,
                            asio::cancellation_type::total, asio::cancellation_type::all};

/// Keeps `semaphore` full for as long as it lives.
class full {
public:
    explicit full(AsyncDynamicSemaphore& semaphore) : semaphore_(semaphore) {
        while (semaphore_.try_lock())
            ++held_;
    }
    full(const full&) = delete;
    full& operator=(const full&) = delete;
    ~full() { release(); }
    void release() {
        for (; held_ != 0; --held_)
            semaphore_.unlock();
    }
    int held() const { return held_; }

private:
    AsyncDynamicSemaphore& semaphore_;
    int held_ = 0;
};

int free_slots(AsyncDynamicSemaphore& semaphore) {
    return full(semaphore).held();
}

/// Runs what has been posted.
void run(asio::io_context& context) {
    context.restart();
    context.poll();
}

/// Who was called, and with what.
struct outcome {
    int calls = 0;
    error_code ec;
    slot granted;

    auto handler() {
        return [this](error_code failure, slot lock) {
            ++calls;
            ec = failure;
            granted = std::move(lock);
        };
    }
};

TEST(async_lock, yields_the_slot_to_a_coroutine) {
    AsyncDynamicSemaphore semaphore(1);
    asio::io_context context;
    std::vector<int> order;
    const auto visit = [&](int number) -> asio::awaitable<void> {
        slot mine = co_await semaphore.async_lock(asio::use_awaitable);
        EXPECT_TRUE(mine.owns_lock());
        EXPECT_EQ(mine.mutex(), &semaphore);
        order.push_back(number);
        co_await asio::post(asio::use_awaitable); // the others have their chance
        order.push_back(number);
    };
    for (const int number : {1, 2, 3})
        asio::co_spawn(context, visit(number), asio::detached);
    context.run();
    EXPECT_THAT(order, ElementsAre(1, 1, 2, 2, 3, 3));
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(async_lock, yields_the_slot_to_a_future) {
    AsyncDynamicSemaphore semaphore(1);
    asio::thread_pool pool(1);
    std::future<slot> first = semaphore.async_lock(pool.get_executor(), asio::use_future);
    std::future<slot> second = semaphore.async_lock(asio::use_future);
    {
        const slot mine = first.get();
        EXPECT_TRUE(mine.owns_lock());
        EXPECT_FALSE(semaphore.try_lock());
    }
    EXPECT_TRUE(second.get().owns_lock());
    pool.join();
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(async_lock, takes_a_plain_function_and_one_that_is_started_later) {
    AsyncDynamicSemaphore semaphore(1);
    asio::io_context context;
    outcome one;
    outcome two;
    semaphore.async_lock(context.get_executor(), one.handler());
    auto later = semaphore.async_lock(context.get_executor(), asio::deferred);
    run(context);
    ASSERT_EQ(one.calls, 1);
    EXPECT_FALSE(one.ec);
    EXPECT_TRUE(one.granted.owns_lock());
    std::move(later)(two.handler());
    run(context);
    EXPECT_EQ(two.calls, 0) << "no slot is free";
    one.granted.unlock();
    run(context);
    EXPECT_TRUE(two.granted.owns_lock());
}

TEST(async_lock, leaves_handlers_that_take_just_a_slot_to_the_other_form) {
    AsyncDynamicSemaphore semaphore(1);
    asio::io_context context;
    std::size_t arguments = 0;
    // It could be called with an error code as well.
    semaphore.async_lock(context.get_executor(), [&](auto&&... values) { arguments = sizeof...(values); });
    run(context);
    EXPECT_EQ(arguments, 1U);
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(async_lock, never_completes_inside_the_call) {
    AsyncDynamicSemaphore semaphore(1);
    asio::io_context context;
    outcome result;
    asio::post(context, [&] {
        semaphore.async_lock(context.get_executor(), result.handler());
        EXPECT_EQ(result.calls, 0);
    });
    run(context);
    EXPECT_EQ(result.calls, 1);
}

TEST(async_lock, completes_on_the_executor_of_the_handler) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context;
    asio::io_context fallback;
    outcome result;
    const auto strand = asio::make_strand(context);
    semaphore.async_lock(fallback.get_executor(),
                         asio::bind_executor(strand, [&, inner = result.handler()](error_code ec, slot lock) {
                             EXPECT_TRUE(strand.running_in_this_thread());
                             inner(ec, std::move(lock));
                         }));
    semaphore.change_max_lockers(1);
    EXPECT_EQ(fallback.poll(), 0U);
    run(context);
    EXPECT_EQ(result.calls, 1);
}

TEST(async_lock, keeps_its_context_at_work_while_it_waits) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context;
    outcome result;
    semaphore.async_lock(context.get_executor(), result.handler());
    QV::thread raiser([&] { semaphore.change_max_lockers(1); });
    context.run(); // returns only after the handler
    EXPECT_EQ(result.calls, 1);
    raiser.join();
}

TEST(async_lock, refuses_an_empty_executor_whether_or_not_a_slot_is_free) {
    for (const int limit : {0, 1}) {
        AsyncDynamicSemaphore semaphore(static_cast<unsigned int>(limit));
        outcome result;
        EXPECT_THROW(semaphore.async_lock(asio::any_io_executor(), result.handler()),
                     asio::execution::bad_executor);
        EXPECT_EQ(free_slots(semaphore), limit);
    }
}

TEST(async_lock, shares_one_queue_with_the_other_forms) {
    AsyncDynamicSemaphore semaphore(1);
    asio::io_context context;
    std::vector<int> order;
    full held(semaphore);
    semaphore.async_lock(context.get_executor(), [&](error_code, slot) { order.push_back(1); });
    semaphore.async_lock(context.get_executor(), [&](slot) { order.push_back(2); });
    semaphore.async_lock(context.get_executor(), [&](error_code, slot) { order.push_back(3); });
    held.release();
    run(context);
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(async_lock, cancelled_while_it_waits_leaves_the_queue) {
    for (const asio::cancellation_type type : all_types) {
        AsyncDynamicSemaphore semaphore(1);
        asio::io_context context;
        asio::cancellation_signal signal;
        outcome cancelled;
        outcome behind;
        full held(semaphore);
        semaphore.async_lock(context.get_executor(),
                             asio::bind_cancellation_slot(signal.slot(), cancelled.handler()));
        semaphore.async_lock(context.get_executor(), behind.handler());
        signal.emit(type);
        EXPECT_EQ(cancelled.calls, 0) << "not inside emit() either";
        run(context);
        EXPECT_EQ(cancelled.calls, 1);
        EXPECT_EQ(cancelled.ec, asio::error::operation_aborted);
        EXPECT_FALSE(cancelled.granted.owns_lock());
        held.release();
        run(context);
        EXPECT_EQ(cancelled.calls, 1);
        EXPECT_TRUE(behind.granted.owns_lock()) << "it is the next";
    }
}

TEST(async_lock, a_signal_of_no_type_cancels_nothing) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context;
    asio::cancellation_signal signal;
    outcome result;
    semaphore.async_lock(context.get_executor(),
                         asio::bind_cancellation_slot(signal.slot(), result.handler()));
    signal.emit(asio::cancellation_type::none);
    semaphore.change_max_lockers(1);
    run(context);
    EXPECT_TRUE(result.granted.owns_lock());
}

TEST(async_lock, cancelled_twice_completes_once) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context;
    asio::cancellation_signal signal;
    outcome result;
    semaphore.async_lock(context.get_executor(),
                         asio::bind_cancellation_slot(signal.slot(), result.handler()));
    signal.emit(asio::cancellation_type::terminal);
    signal.emit(asio::cancellation_type::terminal);
    run(context);
    signal.emit(asio::cancellation_type::terminal);
    run(context);
    EXPECT_EQ(result.calls, 1);
    EXPECT_EQ(result.ec, asio::error::operation_aborted);
}

TEST(async_lock, cancelled_between_grant_and_delivery_delivers_the_slot) {
    AsyncDynamicSemaphore semaphore(1);
    asio::io_context context;
    asio::cancellation_signal signal;
    outcome waited;
    outcome at_once;
    {
        full held(semaphore);
        semaphore.async_lock(context.get_executor(),
                             asio::bind_cancellation_slot(signal.slot(), waited.handler()));
    }
    signal.emit(asio::cancellation_type::terminal);
    run(context);
    EXPECT_FALSE(waited.ec);
    EXPECT_TRUE(waited.granted.owns_lock());
    waited.granted.unlock();

    semaphore.async_lock(context.get_executor(),
                         asio::bind_cancellation_slot(signal.slot(), at_once.handler()));
    signal.emit(asio::cancellation_type::terminal);
    run(context);
    EXPECT_TRUE(at_once.granted.owns_lock());
}

TEST(async_lock, a_signal_that_comes_after_delivery_finds_nothing) {
    asio::io_context context;
    asio::cancellation_signal signal;
    {
        AsyncDynamicSemaphore semaphore(1);
        outcome result;
        semaphore.async_lock(context.get_executor(),
                             asio::bind_cancellation_slot(signal.slot(), result.handler()));
        run(context);
        EXPECT_TRUE(result.granted.owns_lock());
        EXPECT_FALSE(signal.slot().has_handler());
    }
    signal.emit(asio::cancellation_type::terminal); // the semaphore is gone
}

TEST(async_lock, the_semaphore_may_go_before_a_cancelled_handler_has_run) {
    asio::io_context context;
    asio::cancellation_signal signal;
    outcome result;
    {
        AsyncDynamicSemaphore semaphore(0);
        semaphore.async_lock(context.get_executor(),
                             asio::bind_cancellation_slot(signal.slot(), result.handler()));
        signal.emit(asio::cancellation_type::terminal);
    }
    signal.emit(asio::cancellation_type::terminal);
    run(context);
    EXPECT_EQ(result.ec, asio::error::operation_aborted);
}

TEST(async_lock, any_one_of_many_can_be_cancelled) {
    constexpr int count = 20;
    for (int chosen = 0; chosen < count; ++chosen) {
        AsyncDynamicSemaphore semaphore(0);
        asio::io_context context;
        std::list<asio::cancellation_signal> signals;
        std::vector<int> granted;
        std::vector<int> aborted;
        std::vector<int> expected;
        for (int number = 0; number < count; ++number) {
            if (number != chosen) expected.push_back(number);
            semaphore.async_lock(
                context.get_executor(),
                asio::bind_cancellation_slot(signals.emplace_back().slot(), [&, number](error_code ec, slot) {
                    (ec ? aborted : granted).push_back(number);
                }));
        }
        std::next(signals.begin(), chosen)->emit(asio::cancellation_type::terminal);
        semaphore.change_max_lockers(count);
        context.run();
        EXPECT_THAT(aborted, ElementsAre(chosen));
        EXPECT_EQ(granted, expected);
        EXPECT_EQ(free_slots(semaphore), count);
    }
}

TEST(async_lock, a_cancelled_coroutine_gets_an_exception) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context;
    asio::cancellation_signal signal;
    std::optional<error_code> seen;
    asio::co_spawn(
        context,
        [&]() -> asio::awaitable<void> {
            try {
                const slot mine = co_await semaphore.async_lock(asio::use_awaitable);
                ADD_FAILURE() << "there is no slot";
            } catch (const boost::system::system_error& error) {
                seen = error.code();
            }
        },
        asio::bind_cancellation_slot(signal.slot(), asio::detached));
    run(context);
    signal.emit(asio::cancellation_type::terminal);
    run(context);
    EXPECT_EQ(seen, asio::error::operation_aborted);
}

/// Which comes first for a coroutine: 0 for the slot, 1 for a timer of this length.
std::optional<std::size_t> race_against_timer(AsyncDynamicSemaphore& semaphore,
                                              std::chrono::steady_clock::duration length) {
    using namespace asio::experimental::awaitable_operators;
    asio::io_context context;
    std::optional<std::size_t> winner;
    asio::co_spawn(
        context,
        [&]() -> asio::awaitable<void> {
            asio::steady_timer timer(context, length);
            const auto result =
                co_await (semaphore.async_lock(asio::use_awaitable) || timer.async_wait(asio::use_awaitable));
            winner = result.index();
        },
        asio::detached);
    context.run();
    return winner;
}

TEST(async_lock, loses_a_race_against_a_timer_and_leaves_no_slot_behind) {
    AsyncDynamicSemaphore semaphore(0);
    EXPECT_EQ(race_against_timer(semaphore, std::chrono::milliseconds(1)), 1U);
    semaphore.change_max_lockers(1);
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(async_lock, wins_a_race_against_a_timer) {
    AsyncDynamicSemaphore semaphore(1);
    EXPECT_EQ(race_against_timer(semaphore, std::chrono::hours(1)), 0U);
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(async_lock, a_context_that_goes_takes_its_waiters_along) {
    AsyncDynamicSemaphore semaphore(1);
    const auto alive = std::make_shared<int>();
    std::vector<int> granted;
    asio::io_context other;
    {
        full held(semaphore);
        {
            asio::io_context context;
            for (int i = 0; i < 100; ++i)
                semaphore.async_lock(context.get_executor(),
                                     [alive](error_code, slot) { FAIL() << "nobody runs the context"; });
            semaphore.async_lock(other.get_executor(), [&](error_code, slot) { granted.push_back(1); });
            asio::co_spawn(
                context,
                [&, alive]() -> asio::awaitable<void> {
                    co_await semaphore.async_lock(asio::use_awaitable);
                    ADD_FAILURE() << "there is no slot";
                },
                asio::detached);
            run(context);
        }
        EXPECT_EQ(alive.use_count(), 1) << "every handler, and the coroutine, is destroyed";
    }
    run(other);
    EXPECT_THAT(granted, ElementsAre(1)) << "those of other contexts stay";
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(async_lock, a_context_that_goes_gives_back_the_slots_it_was_given) {
    AsyncDynamicSemaphore semaphore(2);
    {
        asio::io_context context;
        for (int i = 0; i < 100; ++i)
            semaphore.async_lock(context.get_executor(),
                                 [](error_code, slot) { FAIL() << "nobody runs the context"; });
    }
    EXPECT_EQ(free_slots(semaphore), 2);
}

TEST(async_lock, a_stopped_pool_gives_back_the_slots_it_was_given) {
    AsyncDynamicSemaphore semaphore(2);
    {
        asio::thread_pool pool(1);
        pool.stop();
        for (int i = 0; i < 10; ++i)
            semaphore.async_lock(pool.get_executor(), [](error_code, slot) {});
    }
    EXPECT_EQ(free_slots(semaphore), 2);
}

TEST(async_lock, contexts_may_go_while_slots_are_being_given) {
    AsyncDynamicSemaphore semaphore(1);
    std::atomic<bool> over = false;
    QV::thread giver([&] {
        while (!over) {
            semaphore.change_max_lockers(0);
            semaphore.change_max_lockers(3);
        }
    });
    for (int round = 0; round < ASYNC_LOCK_ROUNDS; ++round) {
        asio::io_context context;
        int ran = 0;
        for (int i = 0; i < 10; ++i)
            semaphore.async_lock(context.get_executor(), [&](error_code ec, slot mine) {
                EXPECT_FALSE(ec);
                EXPECT_TRUE(mine.owns_lock());
                ++ran;
            });
        while (ran < round % 8)
            context.run_one();
    }
    over = true;
    giver.join();
    semaphore.change_max_lockers(3);
    EXPECT_EQ(free_slots(semaphore), 3);
}

/// An event, for more than one use of it.
class flag {
public:
    void raise() {
        const std::lock_guard guard(mutex_);
        raised_ = true;
        changed_.notify_all();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return raised_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool raised_ = false;
};

/// Hands functions to a context and comes back only when it may.
struct late_executor {
    asio::io_context* target;
    flag* submitted;
    flag* may_return;

    template <class Function>
    void execute(Function&& function) const {
        asio::post(*target, std::forward<Function>(function));
        submitted->raise();
        may_return->wait();
    }
    asio::io_context& query(asio::execution::context_t) const noexcept { return *target; }
    late_executor require(asio::execution::blocking_t::never_t) const noexcept { return *this; }
    bool operator==(const late_executor&) const noexcept = default;
};

/// Raises a flag when its context begins to end.
class last_call final : public asio::execution_context::service {
public:
    using key_type = last_call;
    static asio::execution_context::id id;

    last_call(asio::execution_context& context, flag& raised)
        : asio::execution_context::service(context), raised_(raised) {}

private:
    void shutdown() override { raised_.raise(); }

    flag& raised_;
};

asio::execution_context::id last_call::id;

// The slot is used up, and the semaphore gone, before the thread that granted it has come back from posting.
TEST(async_lock, a_context_that_goes_leaves_the_semaphores_of_granted_waiters_alone) {
    for (int round = 0; round < 100; ++round) {
        alignas(AsyncDynamicSemaphore) std::byte storage[sizeof(AsyncDynamicSemaphore)];
        auto* const semaphore = ::new (static_cast<void*>(storage)) AsyncDynamicSemaphore(1);
        flag submitted;
        flag may_return;
        auto context = std::make_unique<asio::io_context>();
        bool granted = false;
        semaphore->lock();
        semaphore->async_lock(late_executor{context.get(), &submitted, &may_return},
                              [&](error_code, slot mine) { granted = mine.owns_lock(); });
        asio::make_service<last_call>(*context, may_return); // the newest: it is the first to hear of the end
        QV::thread granting([&] { semaphore->unlock(); });
        submitted.wait();
        run(*context);
        EXPECT_TRUE(granted);
        semaphore->~AsyncDynamicSemaphore();
        std::fill(std::begin(storage), std::end(storage), std::byte{0xFF}); // no lock any more
        context.reset();
        granting.join();
    }
}

// Grants come from one thread, cancellations from the handlers' own: each waiter has either result, once.
TEST(async_lock, cancelling_races_with_granting_and_loses_no_slot) {
    AsyncDynamicSemaphore semaphore(2);
    asio::thread_pool pool(1); // one thread: what signals are emitted and cleared on
    std::atomic<int> granted = 0;
    std::atomic<int> aborted = 0;
    std::list<asio::cancellation_signal> signals;
    for (int i = 0; i < ASYNC_LOCK_ROUNDS; ++i) {
        asio::cancellation_signal& signal = signals.emplace_back();
        semaphore.change_max_lockers(0);
        asio::post(pool, [&] {
            semaphore.async_lock(pool.get_executor(),
                                 asio::bind_cancellation_slot(signal.slot(), [&](error_code ec, slot mine) {
                                     EXPECT_EQ(mine.owns_lock(), !ec);
                                     ++(ec ? aborted : granted);
                                 }));
            asio::post(pool, [&] { signal.emit(asio::cancellation_type::terminal); });
        });
        semaphore.change_max_lockers(2);
    }
    pool.join();
    EXPECT_EQ(granted + aborted, ASYNC_LOCK_ROUNDS);
    EXPECT_EQ(free_slots(semaphore), 2);
}

TEST(async_lock, bounds_the_coroutines_of_a_work_queue) {
    AsyncDynamicSemaphore semaphore(3);
    std::atomic<int> inside = 0;
    std::atomic<bool> overrun = false;
    std::atomic<int> ran = 0;
    {
        QV::SharedSupport::WorkQueue queue("io", true);
        queue.add_thread();
        queue.add_thread();
        queue.add_thread();
        for (int i = 0; i < ASYNC_LOCK_ROUNDS; ++i)
            asio::co_spawn(
                queue.get_executor(),
                [&]() -> asio::awaitable<void> {
                    const slot mine = co_await semaphore.async_lock(asio::use_awaitable);
                    if (++inside > 3) overrun = true;
                    co_await asio::post(asio::use_awaitable);
                    --inside;
                    ++ran;
                },
                asio::detached);
    }
    EXPECT_FALSE(overrun);
    EXPECT_EQ(ran, ASYNC_LOCK_ROUNDS);
    EXPECT_EQ(free_slots(semaphore), 3);
}

} // namespace
