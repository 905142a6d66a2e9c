#include <QVSharedSupport/AsyncDynamicSemaphore.h>

#include <QVPlatformCompatibility/thread.h>

#include <boost/asio/thread_pool.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <list>
#include <random>

namespace {

using QV::AsyncDynamicSemaphore;
using slot = std::unique_lock<AsyncDynamicSemaphore>;

constexpr unsigned highest_limit = 16;

/// Counts who is inside, and notes if ever more were than any limit allowed.
struct guarded_place {
    std::atomic<unsigned> inside = 0;
    std::atomic<bool> overrun = false;

    void visit() {
        if (++inside > highest_limit) overrun = true;
        --inside;
    }
};

void stress(unsigned seed, int threads, int operations_per_thread, bool with_async) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    AsyncDynamicSemaphore semaphore(highest_limit);
    guarded_place place;
    std::atomic<std::uint64_t> submitted = 0;
    std::atomic<std::uint64_t> ran = 0;
    boost::asio::thread_pool pool(2);
    {
        std::list<QV::thread> workers;
        for (int n = 0; n < threads; ++n)
            workers.emplace_back([&, n] {
                std::mt19937 random(seed + static_cast<unsigned>(n));
                const auto below = [&](unsigned limit) {
                    return std::uniform_int_distribution<unsigned>(0, limit - 1)(random);
                };
                for (int i = 0; i < operations_per_thread; ++i) {
                    const unsigned kind = below(16);
                    if (kind < 9) {
                        if (const slot tried(semaphore, std::try_to_lock); tried.owns_lock()) place.visit();
                    } else if (kind < 13) {
                        const slot held(semaphore);
                        place.visit();
                    } else if (kind < 15) {
                        // Never 0: somebody has to get in for the others to go on.
                        semaphore.change_max_lockers(1 + below(highest_limit));
                    } else if (with_async) {
                        ++submitted;
                        semaphore.async_lock(pool.get_executor(), [&](slot held) {
                            EXPECT_TRUE(held.owns_lock());
                            place.visit();
                            ++ran;
                        });
                    }
                }
            });
        for (QV::thread& worker : workers)
            worker.join();
    }
    pool.join();
    EXPECT_FALSE(place.overrun);
    EXPECT_EQ(ran, submitted) << "every waiter ran once";
    semaphore.change_max_lockers(highest_limit);
    unsigned free = 0;
    while (semaphore.try_lock())
        ++free;
    EXPECT_EQ(free, highest_limit) << "every slot is back";
    for (; free != 0; --free)
        semaphore.unlock();
}

TEST(AsyncDynamicSemaphore_stress, loses_nothing_among_blocking_and_asynchronous_users) {
    stress(1, 8, STRESS_OPERATIONS, true);
}

TEST(AsyncDynamicSemaphore_stress, loses_nothing_among_blocking_users) {
    // Under Wine a contended mutex is dear.
    stress(2, 8, BLOCKING_OPERATIONS, false);
}

} // namespace
