#pragma once

#include <QVSharedSupport/WorkQueue.h>
#include <QVSharedSupport/plist_message.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace QV::SystemConfiguration {

/// Now and `timeout` later, or the end of time if that comes first.
std::chrono::steady_clock::time_point deadline_after(std::chrono::nanoseconds timeout) noexcept;

/// What is wrong with the way `msinfo32` ended; empty if nothing is. @throws std::bad_alloc
std::string describe_exit(std::optional<int> code);

/// The exception for a task that could not be started or threw `failure`.
std::exception_ptr launch_failure(const std::exception& failure) noexcept;

/// Logs that the tool could not be ended. Never throws: what cannot even be logged is left out.
void log_not_ended(const std::exception& failure) noexcept;

/// Watches over one run of the report tool, from its start to its end.
///
/// Everything happens on the one thread of the executor, the time-out too: there is nothing to lock, and no
/// moment between a child's start and its having an owner. `Child` is `piped_process`, or what a test puts in
/// its place. It may be destroyed with operations outstanding, whose handlers find no child and return.
template <class Child>
class report_task : public std::enable_shared_from_this<report_task<Child>> {
public:
    using clock = std::chrono::steady_clock;
    using executor_type = boost::asio::io_context::executor_type;
    /// Starts the tool. @throws std::exception, which becomes a launch failure
    using starter = std::function<std::unique_ptr<Child>(boost::asio::any_io_executor)>;

    report_task(const executor_type& executor, starter start, clock::time_point deadline,
                std::promise<void> outcome)
        : executor_(executor), start_(std::move(start)), timer_(executor, deadline),
          outcome_(std::move(outcome)) {}

    /// Starts the tool and sees it through; the outcome is set at the latest when the deadline has passed.
    void run() noexcept {
        guarded([this] {
            if (clock::now() >= timer_.expiry()) return time_out();
            child_ = start_(executor_);
            timer_.async_wait([self = this->shared_from_this()](boost::system::error_code ec) {
                if (!ec) self->time_out();
            });
            child_->standard_input.close(); // nobody will write to it
            drain(child_->standard_output, output_, "While reading msinfo32's output: ");
            drain(child_->standard_error, error_, "While reading msinfo32 error output: ");
            child_->process.async_wait([self = this->shared_from_this()](boost::system::error_code ec) {
                self->guarded([&] { self->on_exit(ec); });
            });
        });
    }

private:
    // Where the bytes of one stream go: nowhere. The tool has a window for what it has to say.
    using bin = std::array<char, 4096>;

    template <class Operation>
    void guarded(Operation operation) noexcept {
        try {
            operation();
        } catch (const std::exception& failure) {
            finish(launch_failure(failure));
        }
    }

    // A child that finds one pipe full does not go on writing the other: both are read at the same time.
    template <class Stream>
    void drain(Stream& stream, bin& dropped, const char* prefix) {
        stream.async_read_some(boost::asio::buffer(dropped),
                               [self = this->shared_from_this(), &stream, &dropped,
                                prefix](boost::system::error_code ec, std::size_t) {
                                   if (!self->child_) return; // and so there is no stream either
                                   self->guarded([&] {
                                       if (!ec) return self->drain(stream, dropped, prefix);
                                       if (!is_end_of_stream(ec)) return self->fail(prefix + ec.message());
                                       self->one_ended();
                                   });
                               });
    }

    void on_exit(boost::system::error_code ec) {
        if (!child_) return;
        if (ec) return fail("While waiting for msinfo32 to exit: " + ec.message());
        one_ended();
    }

    void one_ended() {
        if (--running_ > 0) return;
        const std::string failure = describe_exit(child_->process.get_error_code());
        if (!failure.empty()) return fail(failure);
        finish(nullptr);
    }

    void fail(const std::string& text) {
        finish(std::make_exception_ptr(std::runtime_error("System report task reported failure: " + text)));
    }

    void time_out() noexcept {
        finish(std::make_exception_ptr(
            std::runtime_error("Failed to complete system report task before timeout")));
    }

    void finish(const std::exception_ptr& failure) noexcept {
        if (std::exchange(finished_, true)) return;
        timer_.cancel();
        end_child();
        if (failure)
            outcome_.set_exception(failure);
        else
            outcome_.set_value();
    }

    // Kills the child if it still runs, and waits for it. Closing its streams ends the reads, also where a
    // grandchild holds the other end open.
    void end_child() noexcept {
        try {
            // Not by the owner's own destructor, which must not throw as this one may.
            delete child_.release(); // NOLINT(cppcoreguidelines-owning-memory)
        } catch (const std::exception& failure) {
            log_not_ended(failure);
        }
    }

    executor_type executor_;
    starter start_;
    boost::asio::steady_timer timer_;
    std::promise<void> outcome_;
    std::unique_ptr<Child> child_;
    bin output_;
    bin error_;
    int running_ = 3; // two streams and the process
    bool finished_ = false;
};

/// Runs what `start` starts on a queue of its own, and returns when it has ended well and the queue is gone.
/// @throws std::runtime_error as `CreateSystemReportFile`, when the queue is gone all the same
template <class Child>
void run_report(typename report_task<Child>::starter start, std::chrono::nanoseconds timeout) {
    const auto deadline = deadline_after(timeout);
    std::promise<void> promise;
    std::future<void> outcome = promise.get_future();
    try {
        SharedSupport::WorkQueue queue("QV::SystemConfiguration::CreateSystemReportFile::worker", true);
        auto task = std::make_shared<report_task<Child>>(queue.get_executor(), std::move(start), deadline,
                                                         std::move(promise));
        // The queue must end before the task's last owner would, and so the thread of the queue has it alone.
        boost::asio::post(queue.get_executor(), [task = std::move(task)] { task->run(); });
    } catch (const std::exception& failure) {
        std::rethrow_exception(launch_failure(failure));
    }
    outcome.get();
}

} // namespace QV::SystemConfiguration
