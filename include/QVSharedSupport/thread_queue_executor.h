/// The executor of a `thread_queue`: in a header of its own, so that the queue alone needs no Asio.
#pragma once

#include <QVSharedSupport/non_async_executor.h>
#include <QVSharedSupport/thread_queue.h>

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>

#include <memory>
#include <type_traits>
#include <utility>

namespace QV::SharedSupport {

/// Runs what Asio submits as tasks of a `thread_queue`, due at once.
///
///     boost::asio::post(queue.get_executor(), [] { ... });
///     boost::asio::co_spawn(queue.get_executor(), restore(device), boost::asio::detached);
///     co_await boost::asio::post(boost::asio::bind_executor(queue.get_executor(),
///     boost::asio::use_awaitable));
///     // from here on the coroutine runs on the queue's worker
///
/// It is a handle on the queue that does not wait, but is waited for: a queue with `wait_on_destroy` lasts
/// until every copy is gone, and so until the coroutines that run on it have ended. Never runs a function
/// inside the call that submits it. Equal when the queue is the same.
///
/// An exception that leaves a function ends the process. Its context is the process-wide one of
/// `non_async_executor`: Asio's timers and the like work on it. Thread safety: any thread at any time.
class thread_queue_executor {
public:
    /// An executor of the queue; an empty handle is given a queue. @throws std::bad_alloc
    explicit thread_queue_executor(thread_queue& queue) {
        queue.make_valid();
        thread_queue shared(queue);
        handle_.swap(shared); // which takes over the queue, but not the waiting
    }
    thread_queue_executor(const thread_queue_executor& other) noexcept : handle_(other.handle_) {}
    thread_queue_executor(thread_queue_executor&& other) noexcept : handle_(std::move(other.handle_)) {}
    thread_queue_executor& operator=(thread_queue_executor other) noexcept {
        handle_.swap(other.handle_);
        return *this;
    }
    ~thread_queue_executor() = default;

    /// Queues `function`, due at once. @throws as `thread_queue::push_async`
    template <class Function>
    void execute(Function&& function) const {
        using stored = std::decay_t<Function>;
        // A task can be copied, what Asio submits can not.
        handle_.push_async([own = std::make_shared<stored>(std::forward<Function>(function))] {
            stored call(std::move(*own)); // ends before the task does, as what it holds may be its own
            std::move(call)();
        });
    }

    /// The process-wide context.
    boost::asio::execution_context& query(boost::asio::execution::context_t) const {
        return non_async_executor().context();
    }
    /// Never: the worker runs it later.
    static constexpr boost::asio::execution::blocking_t query(boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.never;
    }
    /// Functions run on a thread of the queue.
    static constexpr boost::asio::execution::mapping_t query(boost::asio::execution::mapping_t) noexcept {
        return boost::asio::execution::mapping.thread;
    }
    /// What it does in any case.
    thread_queue_executor require(boost::asio::execution::blocking_t::never_t) const noexcept {
        return *this;
    }

    friend bool operator==(const thread_queue_executor& a, const thread_queue_executor& b) noexcept {
        return a.handle_.same_queue(b.handle_);
    }

private:
    mutable thread_queue handle_{nullptr, false};
};

inline thread_queue_executor thread_queue::get_executor() {
    return thread_queue_executor(*this);
}

} // namespace QV::SharedSupport
