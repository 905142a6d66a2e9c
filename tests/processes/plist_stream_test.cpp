#include <QVSharedSupport/plist_stream.h>

#include "../helpers/captured_log.h"
#include "message_samples.h"
#include "scripted_stream.h"

#include <gtest/gtest.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/connect_pipe.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/readable_pipe.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/asio/writable_pipe.hpp>
#include <boost/asio/write.hpp>

#include <cstddef>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using QV::Logging::log_level;
using plist_stream = QV::basic_plist_stream<asio::readable_pipe>;
using process_stream = QV::plist_process_stream<plist_stream>;
using qvamdrecoverytool::message_type;

std::string text_of(const message_type& message) {
    return message.type + "=" + CF::String(message.value).to_string();
}

std::vector<std::string> texts_of(const std::vector<message_type>& messages) {
    std::vector<std::string> texts;
    for (const message_type& message : messages)
        texts.push_back(text_of(message));
    return texts;
}

std::string bytes_of(const CF::Data& data) {
    return {reinterpret_cast<const char*>(data.bytes().data()), data.size()};
}

// A stream, and a thread that writes into it what a child would.
class plist_stream_test : public testing::Test {
protected:
    plist_stream_test() { asio::connect_pipe(in_, out_); }
    ~plist_stream_test() override {
        if (writer_.joinable()) writer_.join();
    }

    // Writes `bytes` in pieces of `piece` bytes, then closes the pipe.
    void write(std::string bytes, std::size_t piece = std::string::npos) {
        writer_ = std::thread([this, bytes = std::move(bytes), piece] {
            error_code ec;
            for (std::size_t at = 0; at < bytes.size() && !ec; at += std::min(piece, bytes.size() - at))
                asio::write(out_, asio::buffer(bytes.data() + at, std::min(piece, bytes.size() - at)), ec);
            out_.close(ec);
        });
    }

    plist_stream make_stream() { return plist_stream(std::move(in_)); }

    // Runs reads one after another until one gives no message; returns the messages and the last code.
    std::pair<std::vector<message_type>, error_code> read_all_async(plist_stream& stream) {
        std::pair<std::vector<message_type>, error_code> result;
        std::function<void(error_code, std::optional<message_type>)> handle =
            [&](error_code ec, std::optional<message_type> message) {
                result.second = ec;
                if (!message) return;
                result.first.push_back(std::move(*message));
                process_stream(stream).async_read_(handle);
            };
        process_stream(stream).async_read_(handle);
        context_.restart();
        context_.run();
        return result;
    }

    asio::io_context context_;
    asio::readable_pipe in_{context_};
    asio::writable_pipe out_{context_};
    std::thread writer_;
};

TEST_F(plist_stream_test, returns_every_message_whole) {
    write(message_text("A", "1") + "\n" + message_text("B", "2") + message_text("C", "3") + "\r\n");
    plist_stream stream = make_stream();
    EXPECT_EQ(texts_of(process_stream(stream).read_all()), (std::vector<std::string>{"A=1", "B=2", "C=3"}));
}

TEST_F(plist_stream_test, keeps_leading_bytes_in_the_message) {
    const std::string first = message_text("A", "1");
    const std::string second = "\n " + message_text("B", "2");
    write(first + second);
    plist_stream stream = make_stream();
    CF::Data bytes;
    EXPECT_TRUE(stream.read(bytes));
    EXPECT_EQ(bytes_of(bytes), first);
    EXPECT_TRUE(stream.read(bytes));
    EXPECT_EQ(bytes_of(bytes), second);
    error_code ec;
    EXPECT_FALSE(stream.read(bytes, ec));
    EXPECT_TRUE(QV::is_end_of_stream(ec)) << ec.what();
    EXPECT_EQ(bytes.size(), 0u);
}

TEST_F(plist_stream_test, throws_for_read_until_at_the_end) {
    write("");
    plist_stream stream = make_stream();
    CF::Data bytes;
    try {
        (void)stream.read(bytes);
        FAIL() << "nothing thrown";
    } catch (const boost::system::system_error& error) {
        EXPECT_TRUE(QV::is_end_of_stream(error.code())) << error.what();
        EXPECT_EQ(std::string(error.what()).rfind("read_until", 0), 0u) << error.what();
    }
}

TEST_F(plist_stream_test, drops_bytes_after_the_last_delimiter) {
    const std::string whole = message_text("A", "1");
    write(whole + whole.substr(0, whole.size() - 1));
    plist_stream stream = make_stream();
    error_code ec = asio::error::fault;
    EXPECT_EQ(texts_of(process_stream(stream).read_all(ec)), std::vector<std::string>{"A=1"});
    EXPECT_FALSE(ec);
}

TEST_F(plist_stream_test, reads_without_blocking) {
    write(message_text("A", "1") + "\n" + message_text("B", "2"));
    plist_stream stream = make_stream();
    const auto [messages, ec] = read_all_async(stream);
    EXPECT_EQ(texts_of(messages), (std::vector<std::string>{"A=1", "B=2"}));
    EXPECT_FALSE(ec) << "the end of the stream is a success";
}

TEST_F(plist_stream_test, ends_at_what_is_no_dictionary_and_goes_on_after_it) {
    const std::string array = property_list("<array><string>x</string></array>");
    write(message_text("A", "1") + array + message_text("B", "2") + "</plist>" + message_text("C", "3") +
          property_list("<dict><key>Type</key><integer>1</integer></dict>") + message_text("D", "4"));
    plist_stream stream = make_stream();
    process_stream messages(stream);
    error_code ec;
    EXPECT_EQ(texts_of(messages.read_all()), std::vector<std::string>{"A=1"});
    EXPECT_EQ(texts_of(messages.read_all(ec)), std::vector<std::string>{"B=2"});
    EXPECT_EQ(texts_of(messages.read_all()), std::vector<std::string>{"C=3"});
    EXPECT_EQ(texts_of(messages.read_all(ec)), std::vector<std::string>{"D=4"});
    EXPECT_FALSE(ec);
}

TEST_F(plist_stream_test, makes_a_message_without_a_value) {
    write(property_list("<dict><key>Type</key><string>Progress</string></dict>"));
    plist_stream stream = make_stream();
    const auto messages = process_stream(stream).read_all();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].type, "Progress");
    EXPECT_FALSE(messages[0].value);
}

TEST_F(plist_stream_test, logs_what_it_reads_and_refuses_blocking) {
    const std::string array = property_list("<array/>");
    const std::string good = message_text("A", "1");
    {
        write(good + array + array + array);
        plist_stream stream = make_stream();
        process_stream messages(stream);
        const test::captured_log log;
        error_code ec;
        // The form with an error code does not log the unreadable message that ends it; the throwing form
        // does.
        EXPECT_EQ(messages.read_all(ec).size(), 1u);
        EXPECT_EQ(log.matching(log_level::critical, "").size(), 0u);
        EXPECT_EQ(messages.read_all().size(), 0u);
        const auto refused = log.matching(log_level::critical, ": Message doesn't contain Type: (null)");
        ASSERT_EQ(refused.size(), 1u);
        EXPECT_EQ(refused[0].logger, "Global.Streams");
        EXPECT_NE(refused[0].text.find("make_message("), std::string::npos) << refused[0].text;
        EXPECT_EQ(log.matching(log_level::error, "").size(), 0u) << "blocking reads do not log at level 4";
        const auto read = log.matching(log_level::trace, "read(");
        ASSERT_EQ(read.size(), 3u);
        const std::string escaped = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\\n<plist version=\"1.0\">\\n";
        EXPECT_NE(read[0].text.find(": " + escaped + "<dict><key>Type</key>"), std::string::npos)
            << read[0].text;
        EXPECT_TRUE(read[1].text.ends_with(": " + escaped + "<array/>\\n</plist>")) << read[1].text;
    }
}

TEST_F(plist_stream_test, logs_what_it_refuses_without_blocking) {
    write("nonsense\n</plist>" + property_list("<dict/>"));
    plist_stream stream = make_stream();
    const test::captured_log log;
    EXPECT_EQ(read_all_async(stream).first.size(), 0u);
    auto refused = log.matching(log_level::error, ": Data is not type, error (");
    ASSERT_EQ(refused.size(), 1u);
    EXPECT_NE(refused[0].text.find("): nonsense\\n</plist>"), std::string::npos) << refused[0].text;
    EXPECT_EQ(log.matching(log_level::critical, ": Message doesn't contain Type: (null)").size(), 1u);

    EXPECT_EQ(read_all_async(stream).first.size(), 0u);
    EXPECT_EQ(log.matching(log_level::error, "").size(), 1u) << "a dictionary is of the right type";
    EXPECT_EQ(log.matching(log_level::critical, ": Message doesn't contain Type: ").size(), 2u);

    const auto [messages, ec] = read_all_async(stream);
    EXPECT_FALSE(ec);
    refused = log.matching(log_level::error, ": Data is not type, error (");
    ASSERT_EQ(refused.size(), 2u) << "a failed read is logged too";
    EXPECT_TRUE(refused[1].text.ends_with("): ")) << refused[1].text;
    EXPECT_EQ(log.matching(log_level::critical, ": Message doesn't contain Type: (null)").size(), 2u);
}

TEST_F(plist_stream_test, returns_a_message_split_at_every_byte) {
    const std::string bytes = message_text("A", "1") + "\n" + message_text("B", "2");
    for (std::size_t split = 1; split < bytes.size(); ++split) {
        asio::readable_pipe in(context_);
        asio::writable_pipe out(context_);
        asio::connect_pipe(in, out);
        plist_stream stream(std::move(in));
        std::vector<std::string> got;
        std::function<void(error_code, std::optional<message_type>)> handle =
            [&](error_code, std::optional<message_type> message) {
                if (!message) return;
                got.push_back(text_of(*message));
                process_stream(stream).async_read_(handle);
            };
        process_stream(stream).async_read_(handle);
        asio::write(out, asio::buffer(bytes.data(), split));
        // Everything that has been written is consumed before the rest is: the split is where it says.
        context_.restart();
        while (context_.poll_one() != 0) {
        }
        asio::write(out, asio::buffer(bytes.data() + split, bytes.size() - split));
        out.close();
        context_.restart();
        context_.run();
        ASSERT_EQ(got, (std::vector<std::string>{"A=1", "B=2"})) << split;
    }
}

TEST_F(plist_stream_test, reads_thousands_of_messages_in_order) {
    std::string bytes;
    constexpr int count = 3000;
    for (int i = 0; i < count; ++i)
        bytes += message_text("N", std::to_string(i)) + "\n";
    write(bytes, 100'000);
    plist_stream stream = make_stream();
    const auto messages = process_stream(stream).read_all();
    ASSERT_EQ(messages.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(text_of(messages[static_cast<std::size_t>(i)]), "N=" + std::to_string(i));
}

TEST_F(plist_stream_test, refuses_a_second_read_while_one_is_outstanding) {
    plist_stream stream = make_stream();
    std::vector<std::string> order;
    process_stream(stream).async_read_([&](error_code ec, std::optional<message_type> message) {
        EXPECT_FALSE(ec);
        order.push_back(message ? text_of(*message) : "none");
    });
    bool returned = false;
    process_stream(stream).async_read_([&](error_code ec, std::optional<message_type>) {
        EXPECT_TRUE(returned) << "a handler never runs inside the call that starts the operation";
        EXPECT_EQ(ec, asio::error::already_started);
        order.push_back("refused");
    });
    returned = true;
    CF::Data bytes;
    error_code ec;
    (void)stream.read(bytes, ec);
    EXPECT_EQ(ec, asio::error::already_started);
    context_.poll();
    write(message_text("A", "1"));
    context_.restart();
    context_.run();
    EXPECT_EQ(order, (std::vector<std::string>{"refused", "A=1"}));
}

TEST_F(plist_stream_test, keeps_what_arrived_when_a_read_is_cancelled) {
    plist_stream stream = make_stream();
    const std::string bytes = message_text("A", "1");
    error_code result;
    process_stream(stream).async_read_([&](error_code ec, std::optional<message_type>) { result = ec; });
    asio::write(out_, asio::buffer(bytes.data(), 20));
    while (context_.poll_one() != 0) {
    }
    stream.cancel();
    context_.restart();
    context_.run();
    EXPECT_EQ(result, asio::error::operation_aborted);
    write(bytes.substr(20));
    EXPECT_EQ(texts_of(read_all_async(stream).first), std::vector<std::string>{"A=1"});
}

TEST_F(plist_stream_test, behaves_as_closed_when_moved_from) {
    write(message_text("A", "1") + message_text("B", "2"));
    plist_stream first = make_stream();
    CF::Data bytes;
    EXPECT_TRUE(first.read(bytes));
    plist_stream second(std::move(first));
    EXPECT_FALSE(first.is_open()); // NOLINT(bugprone-use-after-move): it is as if closed
    error_code ec;
    EXPECT_FALSE(first.read(bytes, ec));
    EXPECT_EQ(ec, asio::error::bad_descriptor);
    error_code async_result;
    process_stream(first).async_read_(
        [&](error_code code, std::optional<message_type>) { async_result = code; });
    context_.run();
    EXPECT_EQ(async_result, asio::error::bad_descriptor);
    EXPECT_NO_THROW(first.cancel());
    EXPECT_EQ(first.get_executor(), second.get_executor());
    EXPECT_EQ(texts_of(process_stream(second).read_all()), std::vector<std::string>{"B=2"})
        << "the bytes held move along";
}

TEST_F(plist_stream_test, lets_its_context_die_with_a_read_outstanding) {
    auto alive = std::make_shared<int>();
    {
        asio::io_context context;
        asio::readable_pipe in(context);
        asio::writable_pipe out(context);
        asio::connect_pipe(in, out);
        plist_stream stream(std::move(in));
        stream.async_read(
            [alive](error_code, const CF::Data&, const CF::Dictionary&) { FAIL() << "called"; });
    }
    EXPECT_EQ(alive.use_count(), 1);
}

// What a strict read yields: the message, or why there is none.
std::string outcome_of(const error_code& ec, const std::optional<message_type>& message) {
    if (message) return ec ? "both" : text_of(*message);
    if (ec == QV::errc::eof) return "end";
    return ec == QV::SharedSupport::ErrorCode::FailedToParse ? "no message" : ec.message();
}

using scripted = QV::basic_plist_stream<test::scripted_stream>;

// How a read ended: "none" while it has not.
struct read_result {
    auto handler() {
        return [this](error_code ec, const CF::Data&, const CF::Dictionary& dictionary) {
            ++calls;
            code = ec;
            has_message = static_cast<bool>(dictionary);
        };
    }
    int calls = 0;
    error_code code;
    bool has_message = false;
};

TEST(plist_stream_start, that_throws_lets_the_next_read_work) {
    asio::io_context context;
    scripted stream(
        test::scripted_stream(context.get_executor(), {{.is_lost = true}, {message_text("A", "1")}}));
    read_result lost;
    EXPECT_THROW(stream.async_read(lost.handler()), std::bad_alloc);
    read_result next;
    stream.async_read(next.handler());
    context.restart();
    context.run();
    EXPECT_EQ(lost.calls, 0);
    EXPECT_EQ(next.calls, 1);
    EXPECT_FALSE(next.code) << next.code.message();
    EXPECT_TRUE(next.has_message);
}

TEST(plist_stream_start, that_is_refused_is_reported_to_the_handler) {
    const std::string message = message_text("A", "1");
    // Refused at once, and after a part of the message.
    for (const std::size_t part : {std::size_t{0}, std::size_t{5}}) {
        asio::io_context context;
        std::vector<test::scripted_read> reads = {{.is_refused = true}, {message.substr(part)}};
        if (part > 0) reads.insert(reads.begin(), {message.substr(0, part)});
        scripted stream(test::scripted_stream(context.get_executor(), std::move(reads)));
        read_result refused;
        stream.async_read(refused.handler());
        EXPECT_EQ(refused.calls, 0) << "a handler never runs inside the call";
        EXPECT_NO_THROW(context.run());
        EXPECT_EQ(refused.calls, 1);
        EXPECT_EQ(refused.code, boost::system::errc::not_enough_memory);
        read_result next;
        stream.async_read(next.handler());
        context.restart();
        context.run();
        EXPECT_EQ(next.calls, 1);
        EXPECT_TRUE(next.has_message) << "the part that had arrived is kept: " << next.code.message();
    }
}

TEST(plist_stream_start, that_throws_after_a_part_lets_the_next_read_work) {
    const std::string message = message_text("A", "1");
    asio::io_context context;
    scripted stream(test::scripted_stream(context.get_executor(),
                                          {{message.substr(0, 5)}, {.is_lost = true}, {message.substr(5)}}));
    read_result lost;
    stream.async_read(lost.handler());
    EXPECT_THROW(context.run(), std::bad_alloc);
    EXPECT_EQ(lost.calls, 0);
    read_result next;
    stream.async_read(next.handler());
    context.restart();
    context.run();
    EXPECT_EQ(next.calls, 1);
    EXPECT_TRUE(next.has_message) << next.code.message();
}

TEST(plist_stream_cancellation, is_seen_between_the_end_of_a_read_and_its_handler) {
    const std::string message = message_text("A", "1");
    asio::io_context context;
    asio::cancellation_signal signal;
    const auto emit = [&] { signal.emit(asio::cancellation_type::terminal); };
    scripted stream(test::scripted_stream(
        context.get_executor(),
        {{.bytes = message.substr(0, 5), .before_handler = emit}, {message.substr(5)}}));
    read_result cancelled;
    stream.async_read(asio::bind_cancellation_slot(signal.slot(), cancelled.handler()));
    context.run();
    EXPECT_EQ(cancelled.calls, 1);
    EXPECT_EQ(cancelled.code, asio::error::operation_aborted);
    read_result next;
    stream.async_read(next.handler());
    context.restart();
    context.run();
    EXPECT_TRUE(next.has_message) << "the part that had arrived is kept: " << next.code.message();
}

// Reads strictly until the end, by turns without and with blocking.
class strict_read_test : public plist_stream_test {
protected:
    std::vector<std::string> outcomes(plist_stream& stream) {
        std::vector<std::string> result;
        do {
            error_code ec;
            std::optional<message_type> message;
            if (result.size() % 2 == 0) {
                message = process_stream(stream).read(ec);
            } else {
                process_stream(stream).async_read([&](error_code code, std::optional<message_type> read) {
                    ec = code;
                    message = std::move(read);
                });
                context_.restart();
                context_.run();
            }
            result.push_back(outcome_of(ec, message));
        } while (result.back() != "end" && result.size() < 20);
        return result;
    }
};

TEST_F(strict_read_test, tells_messages_and_the_end_apart) {
    write(message_text("A", "1") + message_text("B", "2") + message_text("C", "3") + " \r\n\t");
    plist_stream stream = make_stream();
    EXPECT_EQ(outcomes(stream), (std::vector<std::string>{"A=1", "B=2", "C=3", "end"}));
    EXPECT_EQ(outcomes(stream), (std::vector<std::string>{"end"}));
}

TEST_F(strict_read_test, reports_what_is_no_message_and_goes_on) {
    write(message_text("A", "1") + property_list("<array/>") + property_list("<dict/>") + "nonsense</plist>" +
          property_list("<dict><key>Type</key><integer>1</integer></dict>") + message_text("B", "2"));
    plist_stream stream = make_stream();
    EXPECT_EQ(outcomes(stream), (std::vector<std::string>{"A=1", "no message", "no message", "no message",
                                                          "no message", "B=2", "end"}));
}

TEST_F(strict_read_test, reports_bytes_after_the_last_message_once) {
    write(message_text("A", "1") + "<plist><dict>");
    plist_stream stream = make_stream();
    EXPECT_EQ(outcomes(stream), (std::vector<std::string>{"A=1", "no message", "end"}));
}

TEST_F(strict_read_test, reports_output_that_is_all_nonsense) {
    write("usage: helper [options]\n");
    plist_stream stream = make_stream();
    EXPECT_EQ(outcomes(stream), (std::vector<std::string>{"no message", "end"}));
}

TEST_F(strict_read_test, logs_nothing_at_a_clean_end) {
    write(message_text("A", "1"));
    plist_stream stream = make_stream();
    const test::captured_log log;
    EXPECT_EQ(outcomes(stream), (std::vector<std::string>{"A=1", "end"}));
    for (const auto& line : log.lines())
        EXPECT_EQ(line.level, log_level::trace) << line.text;
}

} // namespace
