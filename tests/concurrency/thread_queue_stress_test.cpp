#include <QVSharedSupport/thread_queue.h>

#include <QVPlatformCompatibility/thread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

using QV::SharedSupport::thread_queue;

TEST(thread_queue_stress, runs_every_task_once_and_one_at_a_time) {
    constexpr int threads = 8;
    constexpr int operations = STRESS_OPERATIONS / 10;
    std::uint64_t ran = 0; // plain: only the queue keeps two tasks from touching it at once
    std::atomic<std::uint64_t> pushed = 0;
    std::atomic<std::uint64_t> thrown = 0;
    std::atomic<std::uint64_t> caught = 0;
    {
        thread_queue queue("stress");
        std::list<QV::thread> workers;
        for (int n = 0; n < threads; ++n)
            workers.emplace_back([&, n] {
                std::mt19937 random(static_cast<unsigned>(n));
                const auto below = [&](unsigned limit) {
                    return std::uniform_int_distribution<unsigned>(0, limit - 1)(random);
                };
                for (int i = 0; i < operations; ++i) {
                    const auto kind = below(16);
                    if (kind < 8) {
                        ++pushed;
                        queue.push_async([&] { ++ran; });
                    } else if (kind < 10) {
                        ++pushed;
                        queue.push_async([&] { ++ran; }, std::chrono::microseconds(below(1000)));
                    } else if (kind < 13) {
                        ++pushed;
                        queue.push_sync([&] { ++ran; });
                    } else if (kind < 14) {
                        try {
                            queue.push_sync([&] {
                                ++thrown;
                                throw std::runtime_error("task");
                            });
                        } catch (const std::runtime_error&) {
                            ++caught;
                        }
                    } else if (kind < 15) {
                        pushed += 2;
                        queue.push_async([&ran, inner = queue]() mutable {
                            ++ran;
                            inner.push_sync([&] { ++ran; }, true);
                        });
                    } else {
                        queue.set_name("stress " + std::to_string(i));
                    }
                }
            });
        for (QV::thread& worker : workers)
            worker.join();
    }
    EXPECT_EQ(ran, pushed);
    EXPECT_EQ(caught, thrown);
}

TEST(thread_queue_stress, starts_and_ends_its_worker_without_losing_a_task) {
    std::uint64_t ran = 0;
    constexpr int rounds = 500;
    {
        thread_queue queue("short lived");
        for (int i = 0; i < rounds; ++i) {
            queue.push_async([&] { ++ran; });
            queue.push_sync([&] { ++ran; }); // on the worker, or on this thread if it has just ended
        }
    }
    EXPECT_EQ(ran, 2U * rounds);
}

} // namespace
