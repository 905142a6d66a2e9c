#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace test {

/// What one read of a `scripted_stream` comes to.
struct scripted_read {
    std::string bytes = {}; ///< what it gives, with `ec`; nothing is a read that succeeds with no byte
    boost::system::error_code ec = {};
    bool is_refused = false; ///< it throws bad_alloc, and leaves the handler with the caller
    bool is_lost = false;    ///< it throws bad_alloc, and the handler goes with it
    std::function<void()> before_handler = {}; ///< runs just before the handler
    std::function<void()> before_read = {};    ///< runs when the read begins
};

/// A stream whose reads have the outcomes that a test wrote down; "end of file" after the last. What it is
/// asked for is the same on every platform, which no pipe can say of itself.
class scripted_stream {
public:
    using executor_type = boost::asio::any_io_executor;

    explicit scripted_stream(executor_type executor, std::vector<scripted_read> reads = {})
        : executor_(std::move(executor)), reads_(std::move(reads)) {}

    executor_type get_executor() const noexcept { return executor_; }
    bool is_open() const noexcept { return is_open_; }
    void cancel(boost::system::error_code& ec) noexcept { ec.clear(); }
    void close(boost::system::error_code& ec) noexcept {
        ec.clear();
        is_open_ = false;
    }

    template <class Handler>
    void async_read_some(boost::asio::mutable_buffer room, Handler&& handler) {
        scripted_read read{{}, boost::asio::error::eof};
        if (next_ < reads_.size()) read = std::move(reads_[next_++]);
        if (read.before_read) read.before_read();
        if (read.is_refused) throw std::bad_alloc();
        auto taken = std::make_unique<std::decay_t<Handler>>(std::forward<Handler>(handler));
        if (read.is_lost) throw std::bad_alloc();
        const std::size_t count = boost::asio::buffer_copy(room, boost::asio::buffer(read.bytes));
        if (count < read.bytes.size()) std::terminate(); // longer than the room: a mistake of the test
        boost::asio::post(executor_, [taken = std::move(taken), before = std::move(read.before_handler),
                                      count, ec = read.ec] {
            if (before) before();
            (*taken)(ec, count);
        });
    }

private:
    executor_type executor_;
    std::vector<scripted_read> reads_;
    std::size_t next_ = 0;
    bool is_open_ = true;
};

} // namespace test
