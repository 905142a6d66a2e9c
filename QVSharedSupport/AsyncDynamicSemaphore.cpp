#include <QVSharedSupport/AsyncDynamicSemaphore.h>

#include "assertion.h"

#include <boost/asio/execution.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/require.hpp>

#include <algorithm>
#include <cassert>
#include <exception>
#include <future>
#include <memory>
#include <utility>
#include <vector>

namespace QV {

namespace {

using slot_lock = std::unique_lock<AsyncDynamicSemaphore>;

/// As `boost::asio::post`.
template <class Executor, class Function>
void post_to(const Executor& executor, Function function) {
    namespace execution = boost::asio::execution;
    boost::asio::prefer(boost::asio::require(executor, execution::blocking.never),
                        execution::relationship.fork)
        .execute(std::move(function));
}

/// What `async_lock` leaves in the queue. Destroyed without having been called, it gives its slot back.
struct asynchronous_waiter {
    slot_lock lock;
    boost::asio::any_io_executor executor;
    AsyncDynamicSemaphore::lock_handler handler;

    void operator()() {
        auto delivery = [granted = std::move(lock), call = std::move(handler)]() mutable {
            call(std::move(granted));
        };
        // The usual executor directly: through its type-erased form a post takes twice as long.
        if (const auto* context = executor.target<boost::asio::io_context::executor_type>())
            post_to(*context, std::move(delivery));
        else
            post_to(executor, std::move(delivery));
    }
};

} // namespace

AsyncDynamicSemaphore::AsyncDynamicSemaphore(unsigned int max) : data_{0, max, {}} {}

AsyncDynamicSemaphore::~AsyncDynamicSemaphore() {
    expect(data_.count == 0, "data.count == 0");
    expect(data_.waiting_lockers.empty(), "data.waiting_lockers.empty()");
}

void AsyncDynamicSemaphore::check_invariant([[maybe_unused]] const state& data) noexcept {
    assert(data.waiting_lockers.empty() || data.count >= data.max);
}

bool AsyncDynamicSemaphore::take_slot(state& data) noexcept {
    // Whoever lets the count fall also drains the queue, so the numbers alone are fair.
    check_invariant(data);
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
    // Shared, and its future taken last: a promise that ends for want of memory while somebody has its future
    // would ask for more of it, to say so.
    const auto granted = std::make_shared<std::promise<void>>();
    data_.waiting_lockers.emplace_back([granted] { granted->set_value(); });
    check_invariant(data_);
    const std::future<void> grant = granted->get_future();
    guard.unlock();
    grant.wait();
}

// Ends the process for want of memory, as its documentation says. NOLINTNEXTLINE(bugprone-exception-escape)
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
    check_invariant(data_);
}

void AsyncDynamicSemaphore::enqueue(detail::pending_lock& waiter) {
    oneshot_function<void()> entry = [own = waiter.shared_from_this()] { own->grant(); };
    waiter.entry_ = entry.target_address();
    std::unique_lock guard(mutex_);
    if (take_slot(data_)) {
        guard.unlock();
        entry();
        return;
    }
    data_.waiting_lockers.push_back(std::move(entry));
    check_invariant(data_);
}

bool AsyncDynamicSemaphore::withdraw(detail::pending_lock& waiter) noexcept {
    oneshot_function<void()> entry; // ends after the lock has been released
    const std::lock_guard guard(mutex_);
    const auto found = std::find_if(
        data_.waiting_lockers.begin(), data_.waiting_lockers.end(),
        [&](const oneshot_function<void()>& each) { return each.target_address() == waiter.entry_; });
    // One that was let in may have left its address to somebody else's entry; by then it has been decided on.
    if (found == data_.waiting_lockers.end() || waiter.decided_) return false;
    waiter.decided_ = true;
    entry = std::move(*found);
    data_.waiting_lockers.erase(found);
    check_invariant(data_);
    return true;
}

void AsyncDynamicSemaphore::unlock() {
    std::unique_lock guard(mutex_);
    // In a lambda, so that the text names the data as it always has.
    [](const state* l) { expect(l->count > 0, "l->count > 0"); }(&data_);
    --data_.count;
    if (data_.waiting_lockers.empty()) return;
    oneshot_function<void()> next = take_waiter(data_);
    check_invariant(data_);
    guard.unlock();
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
        check_invariant(data_);
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
