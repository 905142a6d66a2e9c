// What is left when the system has no memory or no thread: allocations fail in turn, thread creation when
// told. And who is woken, which cannot be seen from outside either. For the host build: there this program's
// own functions serve the libraries as well.
#include "../helpers/captured_log.h"
#include "../helpers/failing_new.h"

#include <QVSharedSupport/AsyncDynamicSemaphore.h>
#include <QVSharedSupport/WorkQueue.h>
#include <QVSharedSupport/thread_queue.h>
#include <QVSharedSupport/threads.h>

#include <QVPlatformCompatibility/win32_error.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>

namespace {

std::atomic<int> threads_left = -1; // -1: as many as the system has
thread_local int notified = 0;      // how often this thread has woken another

} // namespace

// Takes the place of the standard library's.
void std::condition_variable::notify_one() noexcept {
    ++notified;
    pthread_cond_signal(native_handle());
}

extern "C" int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*entry)(void*),
                              void* argument) {
    static const auto real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    if (threads_left == 0) return EAGAIN;
    if (threads_left > 0) --threads_left;
    return real(handle, attributes, entry, argument);
}

// What Asio takes its memory from.
extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size) {
    void* memory = nullptr;
    if (qv_test::is_out_of_blocks() || posix_memalign(&memory, alignment, size) != 0) return nullptr;
    return memory;
}

namespace {

namespace asio = boost::asio;
using QV::AsyncDynamicSemaphore;
using QV::SharedSupport::thread_queue;
using QV::SharedSupport::WorkQueue;
using slot = std::unique_lock<AsyncDynamicSemaphore>;

constexpr auto never = thread_queue::clock::time_point::max();

/// While it lives this thread is given `count` blocks of memory.
struct little_memory {
    explicit little_memory(long count) { qv_test::limit_blocks(count); }
    little_memory(const little_memory&) = delete;
    little_memory& operator=(const little_memory&) = delete;
    ~little_memory() { qv_test::limit_blocks(-1); }
};

/// While it lives the system gives `count` threads.
struct few_threads {
    explicit few_threads(int count) { threads_left = count; }
    few_threads(const few_threads&) = delete;
    few_threads& operator=(const few_threads&) = delete;
    ~few_threads() { threads_left = -1; }
};

/// Makes every allocation of `attempt` fail in turn, and calls `check` after each failure, until nothing
/// fails any more.
template <class Attempt, class Check>
void fail_each_allocation(Attempt attempt, Check check) {
    long failed = 0;
    for (long count = 0;; ++count) {
        try {
            const little_memory memory(count);
            attempt();
            break;
        } catch (const std::bad_alloc&) {
            ++failed;
        }
        check();
    }
    EXPECT_GT(failed, 0) << "it needs no memory";
}

/// Something that a task can capture: calls `function` when its last copy ends.
template <class Function>
std::shared_ptr<void> at_end(Function function) {
    return std::shared_ptr<void>(nullptr, [function = std::move(function)](void*) { function(); });
}

int free_slots(AsyncDynamicSemaphore& semaphore) {
    int count = 0;
    while (semaphore.try_lock())
        ++count;
    for (int i = 0; i < count; ++i)
        semaphore.unlock();
    return count;
}

TEST(without_memory, a_waiter_with_a_token_is_not_queued) {
    asio::io_context context;
    AsyncDynamicSemaphore semaphore(0);
    const auto alive = std::make_shared<int>();
    int granted = 0;
    fail_each_allocation(
        [&] {
            semaphore.async_lock(context.get_executor(),
                                 [alive, &granted](boost::system::error_code, slot) { ++granted; });
        },
        [&] { EXPECT_EQ(alive.use_count(), 1) << "the handler is destroyed"; });
    semaphore.change_max_lockers(1);
    context.restart(); // those that failed were its only work
    context.run();
    EXPECT_EQ(granted, 1) << "only the one that was queued";
    EXPECT_EQ(free_slots(semaphore), 1);
}

TEST(without_memory, a_free_slot_asked_for_with_a_token_is_given_back) {
    asio::io_context context;
    AsyncDynamicSemaphore semaphore(1);
    fail_each_allocation(
        [&] { semaphore.async_lock(context.get_executor(), [](boost::system::error_code, slot) {}); },
        [&] { EXPECT_EQ(free_slots(semaphore), 1); });
    context.restart();
    context.run();
}

TEST(without_memory, a_handler_that_cannot_be_posted_gives_its_slot_back) {
    for (const bool with_token : {false, true}) {
        AsyncDynamicSemaphore semaphore(1);
        asio::io_context context;
        const auto alive = std::make_shared<int>();
        std::vector<slot> held;
        const auto queue_up = [&] {
            held.emplace_back(semaphore).release(); // unlock() is called by hand
            if (with_token)
                semaphore.async_lock(context.get_executor(), [alive](boost::system::error_code, slot) {});
            else
                semaphore.async_lock(context.get_executor(), [alive](slot) {});
        };
        queue_up();
        fail_each_allocation([&] { semaphore.unlock(); },
                             [&] {
                                 EXPECT_EQ(alive.use_count(), 1);
                                 EXPECT_EQ(free_slots(semaphore), 1);
                                 queue_up();
                             });
        context.restart();
        context.run();
        EXPECT_EQ(free_slots(semaphore), 1);
    }
}

TEST(without_memory, a_limit_stays_as_it_was) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context;
    int granted = 0;
    semaphore.async_lock(context.get_executor(), [&](slot) { ++granted; });
    {
        const little_memory memory(0);
        EXPECT_THROW(semaphore.change_max_lockers(1), std::bad_alloc);
    }
    context.run();
    EXPECT_EQ(granted, 0);
    EXPECT_FALSE(semaphore.try_lock());
    semaphore.change_max_lockers(1);
    context.restart();
    context.run();
    EXPECT_EQ(granted, 1);
}

TEST(without_memory, a_raised_limit_lets_everyone_else_in_when_one_cannot_be_told) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context;
    int granted = 0;
    for (int i = 0; i < 3; ++i)
        semaphore.async_lock(context.get_executor(), [&](slot) { ++granted; });
    {
        const little_memory memory(1); // for the list of those who are let in
        EXPECT_THROW(semaphore.change_max_lockers(3), std::bad_alloc);
    }
    context.run();
    EXPECT_EQ(free_slots(semaphore), 3) << "nobody could be told, and every slot is back";
    EXPECT_EQ(granted, 0);
}

TEST(without_memory, everyone_is_served_when_one_after_the_other_cannot_be_told) {
    constexpr int count = 1000;
    for (const bool with_token : {false, true}) {
        for (const bool by_limit : {false, true}) {
            AsyncDynamicSemaphore semaphore(by_limit ? 0 : 1);
            asio::io_context context;
            const auto alive = std::make_shared<int>();
            if (!by_limit) semaphore.lock();
            for (int i = 0; i < count; ++i)
                if (with_token)
                    semaphore.async_lock(context.get_executor(), [alive](boost::system::error_code, slot) {});
                else
                    semaphore.async_lock(context.get_executor(), [alive](slot) {});
            {
                const little_memory memory(by_limit ? 1 : 0); // for the list of those who are let in
                if (by_limit)
                    EXPECT_THROW(semaphore.change_max_lockers(1), std::bad_alloc);
                else
                    EXPECT_THROW(semaphore.unlock(), std::bad_alloc);
            }
            EXPECT_EQ(alive.use_count(), 1) << "each is destroyed, and its slot handed on to the next";
            EXPECT_EQ(free_slots(semaphore), 1);
        }
    }
}

TEST(without_memory, blocking_takes_nothing) {
    AsyncDynamicSemaphore semaphore(1);
    // A thread that comes too late for the slot to be taken needs no memory, and is sent again.
    for (long count = 0, failed = 0;; ++count) {
        semaphore.lock();
        std::promise<void> about_to_lock;
        bool refused = false;
        bool waited = false;
        QV::thread locker([&] {
            about_to_lock.set_value();
            const long before = qv_test::allocated_blocks();
            const little_memory memory(count);
            try {
                const slot mine(semaphore);
                waited = qv_test::allocated_blocks() != before;
            } catch (const std::bad_alloc&) {
                refused = true;
            }
        });
        about_to_lock.get_future().wait();
        semaphore.unlock();
        locker.join();
        EXPECT_EQ(free_slots(semaphore), 1);
        failed += refused;
        if (waited) {
            EXPECT_GT(failed, 0);
            break;
        }
        if (!refused) --count;
    }
}

TEST(without_memory, an_asynchronous_task_is_not_queued) {
    for (const bool has_worker : {false, true}) {
        thread_queue queue("a name that does not fit into a string's own buffer", false);
        if (has_worker) queue.push_async([] { FAIL(); }, never);
        const auto alive = std::make_shared<int>();
        std::atomic<int> ran = 0;
        const std::function<void()> task = [&ran, alive] { ++ran; };
        fail_each_allocation([&] { queue.push_async(task); },
                             [&] { EXPECT_EQ(alive.use_count(), 2) << "one here, one in the task"; });
        while (ran == 0)
            queue.push_sync([] {});
        EXPECT_EQ(ran, 1);
    }
}

TEST(without_memory, a_refused_task_may_push_to_the_queue_when_it_ends) {
    for (const bool has_worker : {false, true}) {
        thread_queue queue("a name that does not fit into a string's own buffer", false);
        if (has_worker) queue.push_async([] { FAIL(); }, never);
        std::atomic<int> ended = 0;
        // Counted, and not repeated until it succeeds: which block is the last differs.
        for (long count = 0; count < 10; ++count) {
            for (const bool synchronously : {false, true}) {
                std::function<void()> task = [end = at_end([&] {
                                                  qv_test::limit_blocks(-1);
                                                  queue.push_sync([&] { ++ended; }, true);
                                              })] {};
                try {
                    const little_memory memory(count);
                    if (synchronously)
                        queue.push_sync(std::move(task));
                    else
                        queue.push_async(std::move(task));
                } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): that is the occasion
                }
            }
        }
        while (ended != 20)
            queue.push_sync([] {});
    }
}

TEST(without_memory, a_synchronous_task_has_run_or_not) {
    for (const bool has_worker : {false, true}) {
        thread_queue queue("a name that does not fit into a string's own buffer", false);
        if (has_worker) queue.push_async([] { FAIL(); }, never);
        int ran = 0;
        fail_each_allocation([&] { queue.push_sync([&] { ++ran; }); }, [&] { EXPECT_EQ(ran, 0); });
        EXPECT_EQ(ran, 1);
        queue.push_sync([&] { ++ran; });
        EXPECT_EQ(ran, 2) << "usable as before";
    }
}

TEST(without_memory, a_queue_keeps_its_name) {
    thread_queue queue("old", false);
    const std::string name(100, 'n');
    fail_each_allocation([&] { queue.set_name(name); },
                         [&] { queue.push_sync([] { EXPECT_EQ(QV::GetCurrentThreadName(), "old"); }); });
    queue.push_sync([&] { EXPECT_EQ(QV::GetCurrentThreadName(), name); });
}

TEST(without_memory, queues_are_not_made) {
    fail_each_allocation([] { const thread_queue queue(std::string(100, 'n')); }, [] {});
    fail_each_allocation([] { const WorkQueue queue(std::string(100, 'n'), true); }, [] {});
}

TEST(without_memory, a_work_queue_is_as_before) {
    WorkQueue queue(std::string(100, 'n'), true);
    fail_each_allocation([&] { queue.add_thread(); },
                         [&] { asio::post(queue.get_executor(), asio::use_future).wait(); });
    queue.stop();
    fail_each_allocation([&] { queue.start(); }, [] {});
    asio::post(queue.get_executor(), asio::use_future).wait();
}

TEST(without_memory, a_thread_is_not_named) {
    QV::thread([] {
        QV::SetCurrentThreadName("own");
        const std::string name(100, 'n');
        fail_each_allocation([&] { QV::SetCurrentThreadName(name); },
                             [] { EXPECT_EQ(QV::GetCurrentThreadName(), "own"); });
        fail_each_allocation([] { (void)QV::GetCurrentThreadName(); }, [] {});
    }).join();
}

TEST(without_threads, an_asynchronous_task_is_not_queued) {
    thread_queue queue("io", false);
    const auto alive = std::make_shared<int>();
    {
        const few_threads none(0);
        EXPECT_THROW(queue.push_async([alive] { FAIL() << "it was refused"; }), QV::win32_error);
    }
    EXPECT_EQ(alive.use_count(), 1);
    std::promise<void> ran;
    queue.push_async([&] { ran.set_value(); });
    ran.get_future().wait();
    queue.push_sync([] {});
}

TEST(without_threads, a_refused_task_may_push_to_the_queue_when_it_ends) {
    thread_queue queue("io", false);
    bool ended = false;
    {
        const few_threads none(0);
        const auto push = [&] {
            queue.push_async([end = at_end([&] { queue.push_sync([&] { ended = true; }); })] { FAIL(); });
        };
        EXPECT_THROW(push(), QV::win32_error);
    }
    EXPECT_TRUE(ended);
}

TEST(without_threads, a_synchronous_task_needs_none) {
    const few_threads none(0);
    thread_queue queue("io");
    int ran = 0;
    queue.push_sync([&] { ++ran; });
    EXPECT_EQ(ran, 1);
}

TEST(without_threads, tasks_queued_meanwhile_stay_and_the_next_push_tries_again) {
    std::atomic<int> ran = 0;
    {
        thread_queue queue("io");
        {
            const few_threads none(0);
            EXPECT_THROW(queue.push_sync([&] { queue.push_async([&] { ++ran; }); }), QV::win32_error);
        }
        EXPECT_EQ(ran, 0);
        queue.push_async([&] { ++ran; });
    }
    EXPECT_EQ(ran, 2);
}

TEST(without_threads, a_synchronous_task_queued_meanwhile_is_refused_to_who_waits_for_it) {
    for (int round = 0; round < 100; ++round) {
        thread_queue queue("io", false);
        std::promise<void> inside;
        std::promise<void> about_to_push;
        bool own_ran = false;
        bool ran = false;
        bool refused = false;
        QV::thread other([&] {
            inside.get_future().wait();
            about_to_push.set_value();
            try {
                queue.push_sync([&] { ran = true; });
            } catch (const QV::win32_error&) {
                refused = true;
            }
        });
        {
            const few_threads none(0);
            queue.push_sync([&] {
                inside.set_value();
                about_to_push.get_future().wait();
                for (int i = 0; i < 100; ++i)
                    std::this_thread::yield(); // the other one may be late: then it needs no worker
                own_ran = true;
            });
            other.join();
        }
        EXPECT_TRUE(own_ran);
        EXPECT_NE(ran, refused);
        queue.push_sync([&] { ran = true; });
        EXPECT_TRUE(ran) << "usable as before";
    }
}

TEST(without_threads, the_tasks_own_exception_comes_first) {
    std::atomic<int> ran = 0;
    test::captured_log log;
    {
        thread_queue queue("io");
        {
            const few_threads none(0);
            EXPECT_THROW(queue.push_sync([&] {
                queue.push_async([&] { ++ran; });
                throw std::logic_error("task");
            }),
                         std::logic_error);
        }
        queue.push_sync([] {});
    }
    EXPECT_EQ(ran, 1);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.lines()[0].text.find("No thread for the tasks queued meanwhile"), std::string::npos);
}

TEST(without_threads, a_waiting_handle_lets_go_of_tasks_that_no_thread_will_run) {
    const auto alive = std::make_shared<int>();
    {
        const few_threads none(0);
        thread_queue queue("io", true);
        EXPECT_THROW(queue.push_sync([&] { queue.push_async([alive] { FAIL() << "there is no thread"; }); }),
                     QV::win32_error);
    }
    EXPECT_EQ(alive.use_count(), 1);
}

TEST(thread_queue, wakes_its_worker_for_an_earlier_task_but_not_for_a_name) {
    thread_queue queue("before", false);
    queue.push_async([] { FAIL() << "not in this century"; }, never);
    const int before = notified;
    queue.set_name("after");
    EXPECT_EQ(notified, before);
    queue.push_async([] { FAIL() << "no earlier than the other"; }, never);
    EXPECT_EQ(notified, before);
    queue.push_async([] {});
    EXPECT_EQ(notified, before + 1);
}

TEST(without_threads, a_work_queue_is_not_started_and_remembers_how_many_it_owes) {
    WorkQueue queue("io", false);
    for (int i = 0; i < 3; ++i)
        queue.add_thread();
    for (int granted = 0; granted < 3; ++granted) {
        const few_threads few(granted);
        EXPECT_THROW(queue.start(), QV::win32_error) << granted;
    }
    {
        const few_threads enough(3);
        queue.start();
        EXPECT_EQ(threads_left, 0) << "it took all three";
        EXPECT_THROW(queue.add_thread(), QV::win32_error);
    }
    asio::post(queue.get_executor(), asio::use_future).wait();
}

TEST(without_threads, a_work_queue_that_starts_at_once_is_not_made) {
    const few_threads none(0);
    EXPECT_THROW(WorkQueue("io", true), QV::win32_error);
}

} // namespace
