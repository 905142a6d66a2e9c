#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/system_executor.hpp>
#include <boost/asio/thread_pool.hpp>

#include <memory>
#include <ostream>
#include <thread>
#include <vector>

/// The executors that a caller may bring along.
enum class executor_kind { io_context_one_thread, io_context_threads, thread_pool, strand, system };

inline std::ostream& operator<<(std::ostream& out, executor_kind kind) {
    const char* const names[] = {"io_context_one_thread", "io_context_threads", "thread_pool", "strand",
                                 "system"};
    return out << names[static_cast<int>(kind)];
}

/// An executor of the given kind, whose threads run as long as this lives.
class running_executor {
public:
    explicit running_executor(executor_kind kind) {
        switch (kind) {
        case executor_kind::io_context_one_thread:
        case executor_kind::io_context_threads:
            executor_ = context_.get_executor();
            for (int i = kind == executor_kind::io_context_threads ? 3 : 1; i > 0; --i)
                threads_.emplace_back([this] { context_.run(); });
            break;
        case executor_kind::thread_pool:
            pool_ = std::make_unique<boost::asio::thread_pool>(3);
            executor_ = pool_->get_executor();
            break;
        case executor_kind::strand:
            pool_ = std::make_unique<boost::asio::thread_pool>(3);
            executor_ = boost::asio::make_strand(*pool_);
            break;
        case executor_kind::system:
            executor_ = boost::asio::system_executor();
            break;
        }
    }
    running_executor(const running_executor&) = delete;
    running_executor& operator=(const running_executor&) = delete;
    /// Waits until all work is done, but for the system executor's, which belongs to the process.
    ~running_executor() {
        work_.reset();
        for (std::thread& thread : threads_)
            thread.join();
        if (pool_) pool_->join();
    }

    const boost::asio::any_io_executor& get() const noexcept { return executor_; }

private:
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_ =
        boost::asio::make_work_guard(context_);
    std::unique_ptr<boost::asio::thread_pool> pool_;
    std::vector<std::thread> threads_;
    boost::asio::any_io_executor executor_;
};
