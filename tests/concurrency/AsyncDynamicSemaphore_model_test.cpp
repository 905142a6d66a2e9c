#include <QVSharedSupport/AsyncDynamicSemaphore.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/io_context.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace {

using QV::AsyncDynamicSemaphore;
using slot = std::unique_lock<AsyncDynamicSemaphore>;

/// What the semaphore promises, in the plainest form: numbers and a list of who waits.
struct model {
    unsigned count = 0;
    unsigned max = 0;
    std::deque<int> waiting;
    std::vector<int> granted;
    std::vector<int> cancelled;

    void let_in() {
        while (!waiting.empty() && count < max) {
            ++count;
            granted.push_back(waiting.front());
            waiting.pop_front();
        }
    }
    bool try_lock() { return count < max && (++count, true); }
    void async_lock(int number) {
        waiting.push_back(number);
        let_in();
    }
    void unlock() {
        --count;
        let_in();
    }
    void change_max_lockers(unsigned n) {
        max = n;
        let_in();
    }
    void cancel(int number) {
        const auto found = std::find(waiting.begin(), waiting.end(), number);
        if (found == waiting.end()) return;
        cancelled.push_back(number);
        waiting.erase(found);
    }
};

class semaphore_against_model : public testing::TestWithParam<unsigned> {};

TEST_P(semaphore_against_model, agrees_after_every_step) {
    SCOPED_TRACE(testing::Message() << "seed " << GetParam());
    std::mt19937 random(GetParam());
    const auto below = [&](unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(random); };

    const unsigned first_max = below(4);
    AsyncDynamicSemaphore semaphore(first_max);
    model expected;
    expected.max = first_max;
    boost::asio::io_context context;
    std::vector<int> granted;
    std::vector<int> cancelled;
    std::vector<slot> held;
    // Of those who came with a token and have not been heard of.
    std::map<int, boost::asio::cancellation_signal> signals;
    int submitted = 0;

    for (int step = 0; step < 2000; ++step) {
        switch (below(8)) {
        case 0: {
            slot tried(semaphore, std::try_to_lock);
            ASSERT_EQ(tried.owns_lock(), expected.try_lock()) << "step " << step;
            if (tried.owns_lock()) held.push_back(std::move(tried));
            break;
        }
        case 1:
            if (expected.try_lock()) held.emplace_back(semaphore); // otherwise it would block for ever
            break;
        case 2:
            expected.async_lock(submitted);
            semaphore.async_lock(context.get_executor(), [&, number = submitted](slot mine) {
                granted.push_back(number);
                held.push_back(std::move(mine));
            });
            ++submitted;
            break;
        case 3:
            expected.async_lock(submitted);
            semaphore.async_lock(context.get_executor(),
                                 boost::asio::bind_cancellation_slot(
                                     signals[submitted].slot(),
                                     [&, number = submitted](boost::system::error_code ec, slot mine) {
                                         (ec ? cancelled : granted).push_back(number);
                                         if (mine) held.push_back(std::move(mine));
                                         signals.erase(number);
                                     }));
            ++submitted;
            break;
        case 4:
            if (!signals.empty()) {
                const auto chosen = std::next(signals.begin(),
                                              static_cast<int>(below(static_cast<unsigned>(signals.size()))));
                expected.cancel(chosen->first);
                chosen->second.emit(boost::asio::cancellation_type::total);
            }
            break;
        case 5:
        case 6:
            if (!held.empty()) {
                std::swap(held[below(static_cast<unsigned>(held.size()))], held.back());
                expected.unlock();
                held.pop_back();
            }
            break;
        default:
            if (below(4) == 0) {
                const unsigned max = below(8);
                expected.change_max_lockers(max);
                semaphore.change_max_lockers(max);
            }
        }
        context.restart();
        context.poll();
        ASSERT_EQ(granted, expected.granted) << "step " << step;
        ASSERT_EQ(cancelled, expected.cancelled) << "step " << step;
        ASSERT_EQ(held.size(), expected.count) << "step " << step;
    }
    expected.change_max_lockers(100'000);
    semaphore.change_max_lockers(100'000);
    context.restart();
    context.poll();
    EXPECT_EQ(granted, expected.granted);
    EXPECT_EQ(granted.size() + cancelled.size(), static_cast<std::size_t>(submitted))
        << "every waiter was heard of once";
}

INSTANTIATE_TEST_SUITE_P(seeds, semaphore_against_model, testing::Range(1U, 41U));

} // namespace
