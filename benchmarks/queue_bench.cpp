// The thread queue beside a pool of one thread and a timer for each task, each in the same run.
#include "counted_memory.h"
#include "measure.h"

#include <QVSharedSupport/thread_queue.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include <cstdlib>
#include <future>
#include <list>
#include <random>
#include <thread>
#include <vector>

namespace {

namespace asio = boost::asio;
using QV::SharedSupport::thread_queue;
using clock_type = std::chrono::steady_clock;

/// Deadlines of the last second, in no order: all due, and none of them twice in a row.
std::vector<clock_type::time_point> deadlines(std::size_t count) {
    std::mt19937 random(1);
    const auto now = clock_type::now();
    std::vector<clock_type::time_point> result(count);
    for (auto& each : result)
        each = now - std::chrono::nanoseconds(random() % 1'000'000'000U);
    return result;
}

/// Holds the worker of a queue back until it is opened.
class gate {
public:
    explicit gate(thread_queue& queue) {
        std::promise<void> inside;
        queue.push_async([&] {
            inside.set_value();
            open_.get_future().wait();
        });
        inside.get_future().wait();
    }
    void open() { open_.set_value(); }

private:
    std::promise<void> open_;
};

void asynchronous() {
    constexpr int count = 200'000;
    measure::print("an asynchronous task, from submission to its end", count,
                   measure::race(
                       7,
                       {"thread_queue::push_async", "asio::post, thread_pool(1)", "a steady_timer for each"},
                       [] {
                           thread_queue queue("bench", true);
                           for (int i = 0; i < count; ++i)
                               queue.push_async([] {});
                       },
                       [] {
                           asio::thread_pool pool(1);
                           for (int i = 0; i < count; ++i)
                               asio::post(pool, [] {});
                           pool.join();
                       },
                       [] {
                           asio::thread_pool pool(1);
                           std::list<asio::steady_timer> timers;
                           for (int i = 0; i < count; ++i)
                               timers.emplace_back(pool, clock_type::now())
                                   .async_wait([](const boost::system::error_code&) {});
                           pool.join();
                       }));
}

void synchronous() {
    constexpr int count = 20'000;
    asio::thread_pool pool(1);
    thread_queue idle("", false);
    thread_queue awake("bench", false);
    awake.push_async([] {}, clock_type::time_point::max()); // keeps the worker
    measure::print("a synchronous task while nobody works on the queue", count,
                   measure::race(
                       7,
                       {"thread_queue::push_sync, on this thread", "asio::post and a future, thread_pool(1)"},
                       [&] {
                           for (int i = 0; i < count; ++i)
                               idle.push_sync([] {});
                       },
                       [&] {
                           for (int i = 0; i < count; ++i)
                               asio::post(pool, asio::use_future).wait();
                       }));
    measure::print("a synchronous task on another thread", count,
                   measure::race(
                       7,
                       {"thread_queue::push_sync, on the worker", "asio::post and a future, thread_pool(1)",
                        "a steady_timer and a future"},
                       [&] {
                           for (int i = 0; i < count; ++i)
                               awake.push_sync([] {});
                       },
                       [&] {
                           for (int i = 0; i < count; ++i)
                               asio::post(pool, asio::use_future).wait();
                       },
                       [&] {
                           for (int i = 0; i < count; ++i) {
                               asio::steady_timer timer(pool, clock_type::now());
                               timer.async_wait(asio::use_future).wait();
                           }
                       }));
}

/// A million tasks that stand in the queue at the same time, put in and then worked off.
void many_deadlines() {
    constexpr std::size_t count = 1'000'000;
    const auto when = deadlines(count);
    double ours_in = 0;
    double ours_out = 0;
    std::size_t ours_bytes = 0;
    {
        thread_queue queue("bench", true);
        gate held(queue);
        const std::size_t before = bytes_in_use();
        ours_in = measure::seconds([&] {
            for (const auto& each : when)
                queue.push_async([] {}, each);
        });
        ours_bytes = bytes_in_use() - before;
        ours_out = measure::seconds([&] {
            held.open();
            queue.push_sync([] {}); // due now: the last one
        });
    }
    double timers_in = 0;
    double timers_out = 0;
    std::size_t timer_bytes = 0;
    {
        asio::io_context context(1);
        std::list<asio::steady_timer> timers;
        const std::size_t before = bytes_in_use();
        timers_in = measure::seconds([&] {
            for (const auto& each : when)
                timers.emplace_back(context, each).async_wait([](const boost::system::error_code&) {});
        });
        timer_bytes = bytes_in_use() - before;
        timers_out = measure::seconds([&] { std::jthread worker([&] { context.run(); }); });
    }
    const auto line = [&](const char* name, double in, double out, std::size_t bytes) {
        std::printf("  %-28s put in %7.1f ns, worked off %7.1f ns, %6.1f bytes each\n", name,
                    in * 1e9 / static_cast<double>(count), out * 1e9 / static_cast<double>(count),
                    static_cast<double>(bytes) / static_cast<double>(count));
    };
    std::printf("1,000,000 deadlines queued at a time\n");
    line("thread_queue", ours_in, ours_out, ours_bytes);
    line("a steady_timer for each", timers_in, timers_out, timer_bytes);
    std::printf("  ours takes %.2f times as long to put in, %.2f times to work off\n", ours_in / timers_in,
                ours_out / timers_out);
}

} // namespace

int main() {
    asynchronous();
    synchronous();
    many_deadlines();
    return EXIT_SUCCESS;
}
