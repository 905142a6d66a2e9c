#include <QVSharedSupport/AsyncDynamicSemaphore.h>

#include "assertion.h"

#include <boost/asio/execution.hpp>
#include <boost/asio/execution/bad_executor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/require.hpp>

#include <algorithm>
#include <cassert>
#include <exception>
#include <future>
#include <memory>
#include <new>
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

void check(const boost::asio::any_io_executor& executor) {
    if (!executor) throw boost::asio::execution::bad_executor();
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

/// A call on this thread that tells those whom it lets in.
///
/// To tell one may give a slot back inside the call: its handler runs at once, or its executor has ended, or
/// fails, and destroys it. Whoever is let in by that is told from there, as by any other unlock(), but only
/// up to a number of calls inside each other. The innermost of these takes the others over and tells them as
/// soon as it is back, so that no stack grows with the length of the queue.
class handover {
public:
    handover() noexcept : around_(innermost), depth_(around_ ? around_->depth_ + 1 : 1) { innermost = this; }
    handover(const handover&) = delete;
    handover& operator=(const handover&) = delete;
    ~handover() { innermost = around_; }

    /// Tells one, on behalf of an unlock(). A failure is thrown by the outermost call of the thread: the
    /// others may be in the destructor of a lock.
    static void tell_one(oneshot_function<void()> waiter) {
        if (innermost && innermost->take_over(waiter)) return;
        handover here;
        here.tell(waiter);
        here.tell_others();
        if (!here.around_)
            here.rethrow();
        else if (!here.around_->failure_)
            here.around_->failure_ = here.failure_;
    }

    void tell(oneshot_function<void()>& waiter) noexcept {
        try {
            waiter();
        } catch (...) {
            if (!failure_) failure_ = std::current_exception();
        }
    }
    /// Tells those who have been left to this call.
    void tell_others() noexcept {
        while (oneshot_function<void()> oldest = take_oldest())
            tell(oldest);
    }
    /// @throws the first failure
    void rethrow() {
        if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    }

private:
    static constexpr int most_nested = 16;

    bool take_over(oneshot_function<void()>& waiter) noexcept {
        if (depth_ < most_nested) return false;
        if (!next_ && taken_ == after_next_.size()) {
            next_ = std::move(waiter); // needs no memory, the lack of which may be what fails
            return true;
        }
        try {
            after_next_.push_back(std::move(waiter));
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    oneshot_function<void()> take_oldest() noexcept {
        if (next_ || taken_ == after_next_.size()) return std::move(next_);
        oneshot_function<void()> oldest = std::move(after_next_[taken_]);
        if (++taken_ == after_next_.size()) {
            after_next_.clear();
            taken_ = 0;
        }
        return oldest;
    }

    static thread_local constinit handover* innermost; // a plain pointer: it has no destructor to run

    handover* const around_;
    const int depth_;
    std::exception_ptr failure_;
    // Left to this call, oldest first; the vector is used while there is more than one.
    oneshot_function<void()> next_;
    std::vector<oneshot_function<void()>> after_next_;
    std::size_t taken_ = 0;
};

thread_local constinit handover* handover::innermost = nullptr;

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
    check(executor); // here, and not in the unlock() of whoever will let it in
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
        handover here; // when it fails the slot goes on to whoever waits by then
        here.tell(entry);
        here.tell_others();
        here.rethrow();
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
    if (next) handover::tell_one(std::move(next));
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
    handover here;
    for (oneshot_function<void()>& next : granted)
        here.tell(next);
    here.tell_others();
    here.rethrow();
}

} // namespace QV
