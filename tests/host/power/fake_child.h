#pragma once

#include <QVSharedSupport/oneshot_function.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

/// An operation that completes when the test wants it to, or is aborted by the end of its object.
class scripted_operation {
public:
    using handler = QV::oneshot_function<void(boost::system::error_code)>;

    /// Each operation completes with the next of `results`; with none left it stays outstanding.
    scripted_operation(const boost::asio::any_io_executor& executor,
                       std::vector<boost::system::error_code> results)
        : executor_(executor), results_(std::move(results)) {}
    scripted_operation(const scripted_operation&) = delete;
    scripted_operation& operator=(const scripted_operation&) = delete;
    ~scripted_operation() {
        if (outstanding_) complete(std::move(outstanding_), boost::asio::error::operation_aborted);
    }

    void start(handler done) {
        if (next_ < results_.size()) return complete(std::move(done), results_[next_++]);
        working_ = boost::asio::prefer(executor_, boost::asio::execution::outstanding_work.tracked);
        outstanding_ = std::move(done);
    }

private:
    void complete(handler done, boost::system::error_code ec) {
        boost::asio::post(executor_, [done = std::move(done), ec]() mutable { done(ec); });
    }

    boost::asio::any_io_executor executor_;
    boost::asio::any_io_executor working_; // the context does not run out while something is outstanding
    std::vector<boost::system::error_code> results_;
    std::size_t next_ = 0;
    handler outstanding_;
};

/// What a fake child does.
struct child_script {
    std::vector<boost::system::error_code> output = {boost::asio::error::eof};
    std::vector<boost::system::error_code> error_output = {boost::asio::error::eof};
    std::vector<boost::system::error_code> exit = {boost::system::error_code()};
    std::function<std::optional<int>()> code = [] { return 0; };
    std::function<void()> at_destruction = [] {};
};

/// Has the members of a `piped_process` that matter, and no process.
class fake_child {
public:
    static inline std::atomic<int> alive = 0;

    fake_child(const boost::asio::any_io_executor& executor, const child_script& script)
        : process{{executor, script.exit}, script.code}, standard_output{{executor, script.output}},
          standard_error{{executor, script.error_output}}, at_destruction_(script.at_destruction) {
        ++alive;
    }
    fake_child(const fake_child&) = delete;
    fake_child& operator=(const fake_child&) = delete;
    ~fake_child() noexcept(false) {
        --alive;
        at_destruction_();
    }

    struct {
        scripted_operation operation;
        std::function<std::optional<int>()> code;
        template <class Handler>
        void async_wait(Handler handler) {
            operation.start(std::move(handler));
        }
        std::optional<int> get_error_code() const { return code(); }
    } process;

    struct {
        bool closed = false;
        void close() { closed = true; }
    } standard_input;

    struct stream {
        scripted_operation operation;
        template <class Buffer, class Handler>
        void async_read_some(const Buffer& buffer, Handler handler) {
            operation.start([handler = std::move(handler), size = buffer.size()](
                                boost::system::error_code ec) mutable { handler(ec, ec ? 0 : size); });
        }
    };
    stream standard_output;
    stream standard_error;

private:
    std::function<void()> at_destruction_;
};
