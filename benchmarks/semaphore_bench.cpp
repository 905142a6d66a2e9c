// The semaphore beside a mutex, the standard semaphore and a bare post, each in the same run.
#include "counted_memory.h"
#include "measure.h"

#include <QVSharedSupport/AsyncDynamicSemaphore.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <cstdlib>
#include <list>
#include <mutex>
#include <semaphore>
#include <thread>
#include <vector>

namespace {

namespace asio = boost::asio;
using QV::AsyncDynamicSemaphore;
using slot = std::unique_lock<AsyncDynamicSemaphore>;
using standard_semaphore = std::counting_semaphore<1024>;

void uncontended() {
    constexpr int count = 2'000'000;
    AsyncDynamicSemaphore ours(1);
    std::mutex mutex;
    standard_semaphore standard(1);
    measure::print(
        "lock and unlock, one thread", count,
        measure::race(
            7, {"AsyncDynamicSemaphore", "std::mutex", "two pairs of std::mutex", "std::counting_semaphore"},
            [&] {
                for (int i = 0; i < count; ++i) {
                    ours.lock();
                    ours.unlock();
                }
            },
            [&] {
                for (int i = 0; i < count; ++i) {
                    mutex.lock();
                    mutex.unlock();
                }
            },
            [&] { // what a semaphore around a mutex cannot do without
                for (int i = 0; i < 2 * count; ++i) {
                    mutex.lock();
                    mutex.unlock();
                }
            },
            [&] {
                for (int i = 0; i < count; ++i) {
                    standard.acquire();
                    standard.release();
                }
            }));
}

template <class Function>
void on_threads(int threads, Function function) {
    std::vector<std::jthread> running;
    for (int i = 0; i < threads; ++i)
        running.emplace_back(function);
}

void contended(int threads, unsigned limit) {
    const int each = 200'000 / threads;
    AsyncDynamicSemaphore ours(limit);
    standard_semaphore standard(static_cast<std::ptrdiff_t>(limit));
    char title[80];
    std::snprintf(title, sizeof title, "lock and unlock, %d threads for %u slots", threads, limit);
    measure::print(title, static_cast<std::size_t>(each * threads),
                   measure::race(
                       5, {"AsyncDynamicSemaphore", "std::counting_semaphore"},
                       [&] {
                           on_threads(threads, [&] {
                               for (int i = 0; i < each; ++i) {
                                   ours.lock();
                                   ours.unlock();
                               }
                           });
                       },
                       [&] {
                           on_threads(threads, [&] {
                               for (int i = 0; i < each; ++i) {
                                   standard.acquire();
                                   standard.release();
                               }
                           });
                       }));
}

/// Handlers that each have the next one posted: what a chain of waiters comes down to.
void post_chain(asio::io_context& context, int left) {
    if (left != 0) asio::post(context, [&context, left] { post_chain(context, left - 1); });
}

void grants() {
    constexpr int count = 200'000;
    const auto post_all = [] {
        asio::io_context context(1);
        for (int i = 0; i < count; ++i)
            asio::post(context, [] {});
        context.run();
    };
    // The handler form takes any executor: what that alone costs.
    const auto post_all_to_any = [] {
        asio::io_context context(1);
        const asio::any_io_executor executor = context.get_executor();
        for (int i = 0; i < count; ++i)
            asio::post(executor, [] {});
        context.run();
    };
    measure::print("a slot that is free, to a handler", count,
                   measure::race(
                       7,
                       {"async_lock, handler form", "async_lock, token form", "asio::post",
                        "asio::post to an any_io_executor"},
                       [] {
                           AsyncDynamicSemaphore semaphore(count);
                           asio::io_context context(1);
                           for (int i = 0; i < count; ++i)
                               semaphore.async_lock(context.get_executor(), [](slot) {});
                           context.run();
                       },
                       [] {
                           AsyncDynamicSemaphore semaphore(count);
                           asio::io_context context(1);
                           for (int i = 0; i < count; ++i)
                               semaphore.async_lock(context.get_executor(),
                                                    [](boost::system::error_code, slot) {});
                           context.run();
                       },
                       post_all, post_all_to_any));
    const auto queued = [](auto handler) {
        AsyncDynamicSemaphore semaphore(0);
        asio::io_context context(1);
        for (int i = 0; i < count; ++i)
            semaphore.async_lock(context.get_executor(), handler);
        semaphore.change_max_lockers(1);
        context.run();
    };
    measure::print("one slot through a queue of waiters, each giving it to the next", count,
                   measure::race(
                       7,
                       {"async_lock, handler form", "async_lock, token form",
                        "asio::post, from handler to handler", "asio::post, all beforehand"},
                       [&] { queued([](slot) {}); }, [&] { queued([](boost::system::error_code, slot) {}); },
                       [] {
                           asio::io_context context(1);
                           post_chain(context, count);
                           context.run();
                       },
                       post_all));
}

void memory() {
    constexpr int count = 100'000;
    const auto report = [](const char* name, auto queue_up) {
        AsyncDynamicSemaphore semaphore(0);
        asio::io_context context(1);
        const std::size_t before = bytes_in_use();
        queue_up(semaphore, context);
        const std::size_t used = bytes_in_use() - before;
        std::printf("  %-44s %9.1f bytes\n", name, static_cast<double>(used) / count);
        semaphore.change_max_lockers(1);
        context.run();
    };
    std::printf("memory of a waiter, everything included\n");
    report("async_lock, handler form", [](auto& semaphore, auto& context) {
        for (int i = 0; i < count; ++i)
            semaphore.async_lock(context.get_executor(), [](slot) {});
    });
    report("async_lock, token form", [](auto& semaphore, auto& context) {
        for (int i = 0; i < count; ++i)
            semaphore.async_lock(context.get_executor(), [](boost::system::error_code, slot) {});
    });
    std::printf("  (its entry in the queue: %zu bytes)\n", sizeof(QV::oneshot_function<void()>));
}

/// Cancelling looks for the waiter in the queue: how long that takes with `count` of them.
void cancellation(int count) {
    AsyncDynamicSemaphore semaphore(0);
    asio::io_context context(1);
    std::list<asio::cancellation_signal> signals;
    for (int i = 0; i < count; ++i)
        semaphore.async_lock(context.get_executor(),
                             asio::bind_cancellation_slot(signals.emplace_back().slot(),
                                                          [](boost::system::error_code, slot) {}));
    const double newest_first = measure::seconds([&] {
        for (auto each = signals.rbegin(); each != signals.rend(); ++each)
            each->emit(asio::cancellation_type::terminal);
    });
    context.run();
    std::printf("cancelling each of %d waiters, newest first       %9.1f ns\n", count,
                newest_first * 1e9 / count);
}

} // namespace

int main() {
    uncontended();
    contended(2, 1);
    contended(8, 1);
    contended(8, 4);
    grants();
    memory();
    cancellation(1'000);
    cancellation(10'000);
    return EXIT_SUCCESS;
}
