#pragma once

#include <QVSharedSupport/export.h>
#include <QVSharedSupport/oneshot_function.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/execution/executor.hpp>
#include <boost/asio/system_executor.hpp>
#include <boost/system/error_code.hpp>

#include <cstdint>
#include <deque>
#include <mutex>
#include <type_traits>

namespace QV {

class AsyncDynamicSemaphore;

namespace detail {
class pending_lock;
class waiting_locks;
using lock_signature = void(boost::system::error_code, std::unique_lock<AsyncDynamicSemaphore>);
} // namespace detail

/// What can be given to the token form of `AsyncDynamicSemaphore::async_lock`: `boost::asio::use_awaitable`,
/// `boost::asio::use_future`, a function that takes an `error_code` and the slot, ... One that takes just the
/// slot as well is a `lock_handler`.
template <class Token>
concept lock_completion_token = boost::asio::completion_token_for<Token, detail::lock_signature> &&
    !(std::is_invocable_v<Token, boost::system::error_code, std::unique_lock<AsyncDynamicSemaphore>> &&
      std::is_invocable_v<Token, std::unique_lock<AsyncDynamicSemaphore>>);

/// Bounds how many users of a resource there are at a time; the bound may change while it is in use.
///
///     QV::AsyncDynamicSemaphore restores(4);
///     {
///         std::lock_guard slot(restores);            // waits on this thread
///     }
///     restores.async_lock(executor, [](std::unique_lock<QV::AsyncDynamicSemaphore> slot) {
///         // runs on the executor; the slot is given back when `slot` ends
///     });
///     auto slot = co_await restores.async_lock(boost::asio::use_awaitable);
///     restores.change_max_lockers(8);                // four more may go on at once
///
/// It is Lockable: `std::unique_lock` and `std::lock_guard` work on it. Unlike a mutex it belongs to no
/// thread: a slot may be taken on one thread and given back on another.
///
/// Waiting is first come, first served, for `lock` and `async_lock` alike.
///
/// Thread safety: any thread may call anything at any time. What waits is woken, and handlers are posted,
/// after the internal lock is released: a handler may use the same semaphore at once.
/// Lifetime: destroy it when no slot is held and nothing waits. A handler that was posted but has not run yet
/// holds its slot, and refers to the semaphore. A handler that an executor runs at once must not destroy a
/// context for which others wait whom the same call lets in: the context's end would wait for this very call.
class QV_EXPORT AsyncDynamicSemaphore {
public:
    /// What an asynchronous acquirer is called with: its slot, which is given back when the lock ends.
    using lock_handler = oneshot_function<void(std::unique_lock<AsyncDynamicSemaphore>)>;

    /// At most `max` slots are held at a time. With 0 everybody waits until the limit is raised.
    explicit(false) AsyncDynamicSemaphore(unsigned int max);
    AsyncDynamicSemaphore(const AsyncDynamicSemaphore&) = delete;
    AsyncDynamicSemaphore& operator=(const AsyncDynamicSemaphore&) = delete;
    /// Ends the process when a slot is held, "Assertion data.count == 0 failed.", or something waits,
    /// "Assertion data.waiting_lockers.empty() failed.".
    ~AsyncDynamicSemaphore();

    /// Takes a slot; blocks, without limit, until there is one.
    /// @throws std::bad_alloc, having taken nothing
    void lock();

    /// Takes a slot if one is free now. Never blocks. @return whether it took one
    [[nodiscard]] bool try_lock();

    /// Takes a slot as soon as there is one and then posts `handler` with it to `executor`. Never blocks.
    ///
    /// The handler is never called from within `async_lock`: it is submitted with `boost::asio::post`'s
    /// guarantee. While it waits nothing keeps the executor's context busy: where `run()` must not return
    /// meanwhile, hold a work guard. When the context is shut down before the handler has run, the handler is
    /// destroyed and the slot given back; the context must not be gone altogether before the slot is granted.
    ///
    /// Ends the process when `handler` is empty, "Assertion handler failed.", when `executor` is, whether or
    /// not a slot is free, and for want of memory.
    void async_lock(boost::asio::any_io_executor executor, lock_handler handler) noexcept;

    /// Takes a slot as soon as there is one and completes `token` with it; `boost::asio::use_awaitable` and
    /// `use_future` yield the `std::unique_lock`, a handler is called with an `error_code` and the lock.
    /// Never blocks, and never completes from within `async_lock`.
    ///
    /// Completes on the executor of the handler, which is kept at work meanwhile, and on `executor` or Asio's
    /// system executor if it has none of its own. Cancelling it, whatever the type, takes it out of the queue
    /// and completes it with `operation_aborted` and an empty lock; once a slot was given to it cancelling
    /// changes nothing and the handler gets the slot. Finding it takes time in proportion to the length of
    /// the queue. When the context of its executor is destroyed while it waits, it is taken out of the queue
    /// as well and the handler destroyed without having been called. A result that nobody takes gives its
    /// slot back.
    /// @throws std::bad_alloc, boost::asio::execution::bad_executor when the executor is empty: having queued
    /// nothing
    template <lock_completion_token Token>
    auto async_lock(Token&& token);
    template <class Executor, lock_completion_token Token>
    requires(boost::asio::execution::is_executor<Executor>::value) auto async_lock(const Executor& executor,
                                                                                   Token&& token);

    /// Gives a slot back and hands it to whoever has waited longest, unless the limit has been lowered below
    /// the number of holders.
    ///
    /// When a handler cannot be posted it is destroyed and its slot handed on; one of the failures is thrown
    /// when everybody has been served. A lock's destructor, which calls this, cannot throw: there a failure
    /// ends the process. Inside a handler that an executor runs at once (`non_async_executor`), failures are
    /// left to the unlock() that posted the handler; so are, beyond a few such calls inside each other, those
    /// who are let in: do not wait for them before the handler returns.
    /// @throws std::invalid_argument "... Assertion l->count > 0 failed." when no slot is held; what posting
    /// a handler throws
    void unlock();

    /// Sets the limit. Raising it lets as many go on as now fit, oldest first. Lowering it takes nothing from
    /// the present holders: nobody is let in until enough of them have gone.
    /// @throws std::bad_alloc, having changed nothing; what posting a handler throws, after everyone else who
    /// fits has been let in
    void change_max_lockers(unsigned int max);

private:
    friend class detail::pending_lock;
    friend class detail::waiting_locks;

    struct state {
        std::uint32_t count;
        std::uint32_t max;
        // Oldest first; only while count >= max. Each is called after its slot has been counted.
        std::deque<oneshot_function<void()>> waiting_lockers;
    };

    /// Lets somebody wait, or in.
    void enqueue(detail::pending_lock& waiter);
    /// Whether it was still waiting, and does so no longer.
    bool withdraw(detail::pending_lock& waiter) noexcept;

    // These with the lock held.
    /// Holds whenever the lock is free; looked at after every step in a debug build.
    static void check_invariant(const state& data) noexcept;
    [[nodiscard]] static bool take_slot(state& data) noexcept;
    /// Counts the oldest waiter's slot and takes it off the queue; empty if there is none or no slot is free.
    [[nodiscard]] static oneshot_function<void()> take_waiter(state& data) noexcept;

    std::mutex mutex_;
    state data_;
};

} // namespace QV

// The definitions of the class's own templates. NOLINTNEXTLINE(misc-header-include-cycle)
#include <QVSharedSupport/async_lock.h>
