#include <QVSharedSupport/plist_stream.h>

#include "executors.h"
#include "message_samples.h"

#include <gtest/gtest.h>

#include <boost/asio/connect_pipe.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/readable_pipe.hpp>
#include <boost/asio/writable_pipe.hpp>
#include <boost/asio/write.hpp>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using plist_stream = QV::basic_plist_stream<asio::readable_pipe>;
using process_stream = QV::plist_process_stream<plist_stream>;
using qvamdrecoverytool::message_type;

// How a read ended: waited for by the test, counted so that a second call shows.
struct outcome {
    void set(error_code ec, bool message) {
        ++calls;
        code = ec;
        has_message = message;
        done.set_value();
    }
    void wait() { done.get_future().wait(); }

    std::atomic<int> calls = 0;
    error_code code;
    bool has_message = false;
    std::promise<void> done;
};

class plist_stream_lifetime : public testing::TestWithParam<executor_kind> {
protected:
    struct pipe {
        explicit pipe(const asio::any_io_executor& executor) : in(executor), out(executor) {
            asio::connect_pipe(in, out);
        }
        asio::readable_pipe in;
        asio::writable_pipe out;
    };

    static constexpr int rounds = 50;
    running_executor executor_{GetParam()};
};

TEST_P(plist_stream_lifetime, aborts_a_read_when_destroyed) {
    for (int i = 0; i < rounds; ++i) {
        pipe ends(executor_.get());
        auto stream = std::make_unique<plist_stream>(std::move(ends.in));
        const auto result = std::make_shared<outcome>();
        process_stream(*stream).async_read_([result](error_code ec, const std::optional<message_type>& m) {
            result->set(ec, m.has_value());
        });
        // Sometimes part of a message is on its way.
        if (i % 2 == 1) asio::write(ends.out, asio::buffer("<plist", 6));
        stream.reset();
        result->wait();
        EXPECT_EQ(result->code, asio::error::operation_aborted);
        EXPECT_FALSE(result->has_message);
        EXPECT_EQ(result->calls, 1);
    }
}

TEST_P(plist_stream_lifetime, aborts_or_delivers_once_when_destroyed_in_the_middle) {
    // A writer floods the pipe while the stream is destroyed: the one read either got its message or was
    // aborted.
    const std::string bytes = message_text("A", std::string(20'000, 'x'));
    for (int i = 0; i < rounds; ++i) {
        pipe ends(executor_.get());
        auto stream = std::make_unique<plist_stream>(std::move(ends.in));
        const auto result = std::make_shared<outcome>();
        process_stream(*stream).async_read_([result](error_code ec, const std::optional<message_type>& m) {
            result->set(ec, m.has_value());
        });
        std::thread writer([&] {
            error_code ignored;
            asio::write(ends.out, asio::buffer(bytes), ignored);
        });
        for (int spin = 0; spin < i * 50; ++spin)
            std::this_thread::yield();
        stream.reset();
        result->wait();
        writer.join();
        EXPECT_EQ(result->calls, 1);
        EXPECT_EQ(result->has_message, !result->code);
        if (result->code) {
            EXPECT_EQ(result->code, asio::error::operation_aborted) << result->code.what();
        }
    }
}

TEST_P(plist_stream_lifetime, takes_a_read_along_when_moved) {
    for (int i = 0; i < rounds; ++i) {
        pipe ends(executor_.get());
        plist_stream first(std::move(ends.in));
        const auto result = std::make_shared<outcome>();
        process_stream(first).async_read_([result](error_code ec, const std::optional<message_type>& m) {
            result->set(ec, m.has_value());
        });
        plist_stream second(std::move(first));
        const std::string bytes = message_text("A", "1") + message_text("B", "2");
        asio::write(ends.out, asio::buffer(bytes));
        result->wait();
        EXPECT_FALSE(result->code) << result->code.what();
        EXPECT_TRUE(result->has_message);
        CF::Data next;
        EXPECT_TRUE(second.read(next)) << "the rest belongs to the new object";
        EXPECT_EQ(result->calls, 1);
    }
}

TEST_P(plist_stream_lifetime, aborts_the_read_of_a_stream_assigned_over) {
    for (int i = 0; i < rounds; ++i) {
        pipe old_ends(executor_.get());
        pipe new_ends(executor_.get());
        plist_stream stream(std::move(old_ends.in));
        const auto result = std::make_shared<outcome>();
        process_stream(stream).async_read_([result](error_code ec, const std::optional<message_type>& m) {
            result->set(ec, m.has_value());
        });
        stream = plist_stream(std::move(new_ends.in));
        result->wait();
        EXPECT_EQ(result->code, asio::error::operation_aborted);
        const std::string bytes = message_text("A", "1");
        asio::write(new_ends.out, asio::buffer(bytes));
        CF::Data message;
        EXPECT_TRUE(stream.read(message));
    }
}

TEST_P(plist_stream_lifetime, lets_a_handler_destroy_the_stream) {
    for (int i = 0; i < rounds; ++i) {
        pipe ends(executor_.get());
        auto stream = std::make_unique<plist_stream>(std::move(ends.in));
        const auto result = std::make_shared<outcome>();
        plist_stream& serving = *stream;
        process_stream(serving).async_read_(
            [result, owned = std::move(stream)](error_code ec, const std::optional<message_type>& m) mutable {
                owned.reset();
                result->set(ec, m.has_value());
            });
        const std::string bytes = message_text("A", "1");
        asio::write(ends.out, asio::buffer(bytes));
        result->wait();
        EXPECT_FALSE(result->code);
        EXPECT_TRUE(result->has_message);
    }
}

// Reads message after message and counts them, until the end.
struct reader : std::enable_shared_from_this<reader> {
    explicit reader(plist_stream s) : stream(std::move(s)) {}
    void read() {
        process_stream(stream).async_read_(
            [self = shared_from_this()](error_code ec, const std::optional<message_type>& message) {
                if (!message) return self->result.set(ec, false);
                EXPECT_EQ(CF::String(message->value).to_string(), std::to_string(self->messages));
                ++self->messages;
                self->read();
            });
    }
    plist_stream stream;
    int messages = 0;
    outcome result;
};

TEST_P(plist_stream_lifetime, loses_no_message_however_they_are_cut) {
    constexpr int count = 300;
    std::string bytes;
    for (int i = 0; i < count; ++i)
        bytes += message_text("N", std::to_string(i)) + "\n";
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{1000}, bytes.size()}) {
        pipe ends(executor_.get());
        const auto reading = std::make_shared<reader>(plist_stream(std::move(ends.in)));
        reading->read();
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            asio::write(ends.out, asio::buffer(bytes.data() + at, std::min(piece, bytes.size() - at)));
        ends.out.close();
        reading->result.wait();
        EXPECT_FALSE(reading->result.code);
        EXPECT_EQ(reading->messages, count) << "pieces of " << piece;
    }
}

INSTANTIATE_TEST_SUITE_P(executors, plist_stream_lifetime,
                         testing::Values(executor_kind::io_context_one_thread,
                                         executor_kind::io_context_threads, executor_kind::thread_pool,
                                         executor_kind::strand, executor_kind::system),
                         testing::PrintToStringParamName());

} // namespace
