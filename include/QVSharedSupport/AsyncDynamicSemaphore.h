#pragma once

#include <QVSharedSupport/export.h>
#include <QVSharedSupport/oneshot_function.h>

#include <boost/asio/any_io_executor.hpp>

#include <cstdint>
#include <deque>
#include <mutex>

namespace QV {

/// Bounds how many users of a resource there are at a time; the bound may change while it is in use.
///
///     QV::AsyncDynamicSemaphore restores(4);
///     {
///         std::lock_guard slot(restores);            // waits on this thread
///     }
///     restores.async_lock(executor, [](std::unique_lock<QV::AsyncDynamicSemaphore> slot) {
///         // runs on the executor; the slot is given back when `slot` ends
///     });
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
/// holds its slot, and refers to the semaphore.
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
    /// Ends the process when `handler` is empty, "Assertion handler failed.", when `executor` is, and for
    /// want of memory.
    void async_lock(boost::asio::any_io_executor executor, lock_handler handler) noexcept;

    /// Gives a slot back and hands it to whoever has waited longest, unless the limit has been lowered below
    /// the number of holders.
    /// @throws std::invalid_argument "... Assertion l->count > 0 failed." when no slot is held; what posting
    /// a handler throws: then that handler is destroyed and its slot given back.
    void unlock();

    /// Sets the limit. Raising it lets as many go on as now fit, oldest first. Lowering it takes nothing from
    /// the present holders: nobody is let in until enough of them have gone.
    /// @throws std::bad_alloc, having changed nothing; what posting a handler throws, after everyone else who
    /// fits has been let in
    void change_max_lockers(unsigned int max);

private:
    struct state {
        std::uint32_t count;
        std::uint32_t max;
        // Oldest first; only while count >= max. Each is called after its slot has been counted.
        std::deque<oneshot_function<void()>> waiting_lockers;
    };

    /// Both with the lock held.
    [[nodiscard]] static bool take_slot(state& data) noexcept;
    /// Counts the oldest waiter's slot and takes it off the queue; empty if there is none or no slot is free.
    [[nodiscard]] static oneshot_function<void()> take_waiter(state& data) noexcept;

    std::mutex mutex_;
    state data_;
};

} // namespace QV
