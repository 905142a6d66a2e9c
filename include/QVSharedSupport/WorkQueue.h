#pragma once

#include <QVSharedSupport/export.h>

#include <QVPlatformCompatibility/thread.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace QV::SharedSupport {

/// An `io_context` with threads that run it, named after the queue: "io[0]", "io[1]", ...
///
///     QV::SharedSupport::WorkQueue queue("io", true);
///     queue.add_thread();
///     boost::asio::post(queue.get_executor(), [] { ... });
///     queue.reset();                        // ends when the work has
///     queue.join();
///
/// Thread safety: `start`, `stop`, `add_thread`, `reset`, `reset_context` and what is posted: any thread.
/// `join` not while another thread starts the queue or adds to it. A handler of the queue may call `stop`,
/// `add_thread` and `reset`, also while the destructor waits for it, but not what waits for the queue's
/// threads: `start` after `stop`, `join` and the destructor; nor `stop` or `add_thread` while another thread
/// is in `start`.
///
/// An exception that leaves a handler ends the process, and so does a failure of `io_context::run`, which is
/// thrown on the queue's thread as `boost::system::system_error` "run".
class QV_EXPORT WorkQueue {
public:
    /// Makes a queue; its threads are started if `start` says so. @throws as `start()`
    WorkQueue(std::string name, bool start);
    /// Makes a queue without a name, and starts it: its threads are called "[0]", "[1]", ...
    WorkQueue();
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;
    /// Blocks until the work is done, or the handlers that run at the moment if the queue was stopped.
    /// Handlers still queued then are destroyed without being run.
    ~WorkQueue();

    /// Starts the threads, unless the queue is running: as many as it had, and those added meanwhile, but at
    /// least one. Waits for the former threads first, which may still be in a handler.
    /// @throws win32_error when the system refuses a thread: the queue is stopped then, and remembers how
    /// many threads it should have; std::system_error on a thread of the queue itself
    void start();
    /// Lets the threads return when they have finished what they are doing; what is queued from then on stays
    /// queued, and so does what has been queued before, but Windows may have that done first. Does not wait
    /// for them. Nothing happens unless the queue is running.
    void stop();
    /// Blocks until every thread has ended. They do after `stop()`, or `reset()` when the work is done.
    /// @throws std::system_error on a thread of the queue itself
    void join();
    /// Lets the threads end when there is no work left. There is no way back: from now on `start()` runs
    /// threads that end as soon as there is nothing to do.
    void reset();
    /// Makes the context of a queue that is not running fit to be run again, by whomever. `join()` first: a
    /// thread of the queue that has not noticed `stop()` by then goes on running it until the next `start()`.
    void reset_context();
    /// Adds a thread: now if the queue is running, otherwise with the next `start()`.
    /// @throws win32_error when the system refuses a thread, std::bad_alloc: the queue is as before
    void add_thread();

    /// The context's executor, valid as long as the queue.
    [[nodiscard]] boost::asio::io_context::executor_type get_executor();

private:
    void runNewThread();
    std::size_t destroyAllThreads();

    std::string name_;
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_guard_;
    std::vector<thread> threads_; // an empty one is a thread that the next start owes
    std::mutex mutex_;
    bool running_ = false;
    std::atomic<bool> guard_released_ = false;
};

} // namespace QV::SharedSupport
