#pragma once

#include <QVSharedSupport/export.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace QV::SharedSupport {

/// Runs tasks one at a time, in the order of their deadlines, on a thread of its own that exists only while
/// there is work. The base of typed queues; `thread_queue` is the plain one.
///
/// A handle on a queue: copies feed the same worker, and the queue lives until the last handle and the worker
/// have let go of it. A handle may be empty (made from `nullptr`, or moved from): whatever needs a queue
/// makes a new one then.
///
/// Thread safety: any thread may push through its own handle at any time. One handle may be shared by threads
/// as long as it is not empty; `make_valid` beforehand sees to that. Tasks run with no lock held and may push
/// further tasks.
///
/// Lifetime: the worker is detached. At the end of the process it ends with it, tasks or no tasks: wait for
/// what must not be lost, with `wait_on_destroy` or `push_sync`. The handle must not be a static object of a
/// DLL when it waits: by the time such objects are destroyed the system has ended the worker.
class QV_EXPORT thread_queue_base {
public:
    /// Gives an empty handle a queue. @throws std::bad_alloc
    void make_valid();

    /// Names the worker threads, for debuggers and the log. A worker that sleeps until a task is due takes
    /// the name when it next wakes. @throws std::bad_alloc
    void set_name(std::string name);

protected:
    /// Makes a queue whose worker is called `name`, or "Unnamed thread_queue worker" when that is empty.
    ///
    /// With `wait_on_destroy` the destructor blocks until every other handle and the worker, with all its
    /// tasks, have let go of the queue, however far ahead the last deadline is: two waiting handles on one
    /// queue are for two threads, one thread would wait for itself. Without, it returns at once and the
    /// worker finishes alone. @throws std::bad_alloc
    thread_queue_base(bool wait_on_destroy, std::string name);
    /// Makes an empty handle. Whether anybody can wait for a queue is settled by the handle that makes it.
    thread_queue_base(std::nullptr_t, bool wait_on_destroy) noexcept;
    /// Another handle on the same queue.
    thread_queue_base(const thread_queue_base& other) noexcept;
    /// Takes the queue over and leaves `other` empty. The new handle waits if `other` does.
    thread_queue_base(thread_queue_base&& other) noexcept;
    thread_queue_base& operator=(const thread_queue_base&) = delete;
    /// Lets go of the queue, and waits as the constructor says. On the thread that is running the queue's
    /// tasks it does not wait: it would wait for itself.
    ~thread_queue_base();

    /// Whether both are handles on one queue, or both empty.
    [[nodiscard]] bool same_queue(const thread_queue_base& other) const noexcept;

    /// Exchanges the queues. Each handle goes on waiting, or not, as it was made to.
    void swap(thread_queue_base& other) noexcept;

    /// Queues `task` to run no earlier than `deadline`; tasks of the same deadline run in the order of their
    /// submission. Never runs it itself and does not block.
    ///
    /// An exception that leaves the task ends the process, and so does running an empty one.
    /// @throws win32_error when a worker is needed and the system refuses the thread, std::bad_alloc: the
    /// task is not queued then
    void push_async(std::function<void()> task, std::chrono::steady_clock::time_point deadline);

    /// Runs `task` as a part of the queue and blocks until it has run.
    ///
    /// While there is no worker the task runs on this thread, which bears the queue's name meanwhile.
    /// Otherwise it is queued as due now. On the thread that is running the queue's tasks it runs at once if
    /// `allow_from_worker` says so.
    /// @throws std::runtime_error "Trying to push synchronously from the current thread" when it does not;
    /// what the task throws (std::bad_function_call if it is empty); std::bad_alloc, the task not having run.
    /// win32_error when the system refuses a worker for what has been queued while a task ran on the thread
    /// that called this: for that thread when asynchronous tasks are among it, which stay queued until the
    /// next push tries again, its own task having run; for each thread whose task was queued, not having run.
    void push_sync(std::function<void()> task, bool allow_from_worker);

private:
    struct internal_data;

    [[nodiscard]] std::shared_ptr<internal_data> get_data();

    std::weak_ptr<internal_data> data_weak_;
    std::shared_ptr<internal_data> data_strong_;
    bool wait_on_destroy_;
};

class thread_queue_executor;

/// A queue of tasks with a thread of its own, see `thread_queue_base`.
///
///     QV::SharedSupport::thread_queue queue("device io");
///     queue.push_async([device] { device->ping(); });
///     queue.push_async([device] { device->give_up(); }, std::chrono::seconds(10));
///     queue.push_sync([device] { device->flush(); });   // rethrows what the task throws
///     boost::asio::co_spawn(queue.get_executor(), restore(device), boost::asio::detached);
class thread_queue : public thread_queue_base {
public:
    using clock = std::chrono::steady_clock;

    /// Makes a queue; `wait_on_destroy` as for `thread_queue_base`.
    explicit thread_queue(std::string name = {}, bool wait_on_destroy = true)
        : thread_queue_base(wait_on_destroy, std::move(name)) {}
    /// Makes an empty handle.
    explicit thread_queue(std::nullptr_t, bool wait_on_destroy = true) noexcept
        : thread_queue_base(nullptr, wait_on_destroy) {}

    /// Exchanges the queues, not the waiting.
    void swap(thread_queue& other) noexcept { thread_queue_base::swap(other); }
    friend void swap(thread_queue& a, thread_queue& b) noexcept { a.swap(b); }

    /// Queues a task that is due at once. @throws as `thread_queue_base::push_async`
    void push_async(std::function<void()> task) {
        thread_queue_base::push_async(std::move(task), clock::now());
    }
    /// Queues a task that is due at `deadline`.
    void push_async(std::function<void()> task, clock::time_point deadline) {
        thread_queue_base::push_async(std::move(task), deadline);
    }
    /// Queues a task that is due when `delay` has passed; one beyond the clock's range is never due.
    template <class Rep, class Period>
    void push_async(std::function<void()> task, std::chrono::duration<Rep, Period> delay) {
        thread_queue_base::push_async(std::move(task), after(delay));
    }

    /// Runs a task as a part of the queue and waits for it. @throws as `thread_queue_base::push_sync`
    void push_sync(std::function<void()> task, bool allow_from_worker = false) {
        thread_queue_base::push_sync(std::move(task), allow_from_worker);
    }

    /// Whether both are handles on one queue, or both empty.
    [[nodiscard]] bool same_queue(const thread_queue& other) const noexcept {
        return thread_queue_base::same_queue(other);
    }

    /// The queue as an executor for Boost.Asio, with <QVSharedSupport/thread_queue_executor.h>; an empty
    /// handle is given a queue. @throws std::bad_alloc
    [[nodiscard]] thread_queue_executor get_executor();

private:
    template <class Rep, class Period>
    static clock::time_point after(std::chrono::duration<Rep, Period> delay) {
        // Compared as floating-point seconds: hours::max() is no number of nanoseconds.
        using seconds = std::chrono::duration<double>;
        const clock::time_point now = clock::now();
        if (seconds(delay) >= seconds(clock::time_point::max() - now)) return clock::time_point::max();
        if (seconds(delay) <= seconds::zero()) return now;
        return now + std::chrono::duration_cast<clock::duration>(delay);
    }
};

} // namespace QV::SharedSupport
