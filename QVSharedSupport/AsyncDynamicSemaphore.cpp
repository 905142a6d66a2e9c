#include <QVSharedSupport/AsyncDynamicSemaphore.h>

#include "assertion.h"

#include <boost/asio/execution.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/require.hpp>

#include <algorithm>
#include <cassert>
#include <exception>
#include <future>
#include <utility>
#include <vector>

namespace QV {

namespace {

using slot_lock = std::unique_lock<AsyncDynamicSemaphore>;

/// What `async_lock` leaves in the queue. Destroyed without having been called, it gives its slot back.
struct asynchronous_waiter {
    slot_lock lock;
    boost::asio::any_io_executor executor;
    AsyncDynamicSemaphore::lock_handler handler;

    void operator()() {
        namespace execution = boost::asio::execution;
        boost::asio::prefer(boost::asio::require(executor, execution::blocking.never),
                            execution::relationship.fork)
            .execute([granted = std::move(lock), call = std::move(handler)]() mutable {
                call(std::move(granted));
            });
    }
};

} // namespace

AsyncDynamicSemaphore::AsyncDynamicSemaphore(unsigned int max) : data_{0, max, {}} {}

AsyncDynamicSemaphore::~AsyncDynamicSemaphore() {
    expect(data_.count == 0, "data.count == 0");
    expect(data_.waiting_lockers.empty(), "data.waiting_lockers.empty()");
}

bool AsyncDynamicSemaphore::take_slot(state& data) noexcept {
    // Whoever lets the count fall also drains the queue, so the numbers alone are fair.
    assert(data.waiting_lockers.empty() || data.count >= data.max);
    if (data.count >= data.max) return false;
    ++data.count;
    return true;
}

oneshot_function<void()> AsyncDynamicSemaphore::take_waiter(state& data) noexcept {
    if (data.waiting_lockers.empty() || data.count >= data.max) return {};
    ++data.count;
    oneshot_function<void()> oldest = std::move(data.waiting_lockers.front());
    data.waiting_lockers.pop_front();
    return oldest;
}

bool AsyncDynamicSemaphore::try_lock() {
    const std::lock_guard guard(mutex_);
    return take_slot(data_);
}

void AsyncDynamicSemaphore::lock() {
    std::unique_lock guard(mutex_);
    if (take_slot(data_)) return;
    std::promise<void> granted;
    const std::future<void> grant = granted.get_future();
    data_.waiting_lockers.emplace_back([promise = std::move(granted)]() mutable { promise.set_value(); });
    guard.unlock();
    grant.wait();
}

void AsyncDynamicSemaphore::async_lock(boost::asio::any_io_executor executor, lock_handler handler) noexcept {
    expect(static_cast<bool>(handler), "handler");
    asynchronous_waiter waiter{slot_lock(*this, std::adopt_lock), std::move(executor), std::move(handler)};
    std::unique_lock guard(mutex_);
    if (take_slot(data_)) {
        guard.unlock();
        waiter();
        return;
    }
    data_.waiting_lockers.emplace_back(std::move(waiter));
}

void AsyncDynamicSemaphore::unlock() {
    oneshot_function<void()> next;
    {
        const std::lock_guard guard(mutex_);
        // In a lambda, so that the text names the data as it always has.
        [](const state* l) { expect(l->count > 0, "l->count > 0"); }(&data_);
        --data_.count;
        next = take_waiter(data_);
    }
    if (next) next();
}

void AsyncDynamicSemaphore::change_max_lockers(unsigned int max) {
    std::vector<oneshot_function<void()>> granted;
    {
        const std::lock_guard guard(mutex_);
        const std::size_t free = max > data_.count ? max - data_.count : 0;
        granted.reserve(std::min(free, data_.waiting_lockers.size())); // the last thing here that can fail
        data_.max = max;
        while (oneshot_function<void()> next = take_waiter(data_))
            granted.push_back(std::move(next));
    }
    // All of them hold a slot by now: one that cannot be told must not keep it from the others.
    std::exception_ptr failure;
    for (oneshot_function<void()>& next : granted) {
        try {
            next();
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    if (failure) std::rethrow_exception(failure);
}

} // namespace QV
