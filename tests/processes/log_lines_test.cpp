#include "asio_helpers/log_lines.h"

#include "../helpers/captured_log.h"
#include "scripted_stream.h"

#include <gtest/gtest.h>

#include <boost/asio/connect_pipe.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/readable_pipe.hpp>
#include <boost/asio/writable_pipe.hpp>
#include <boost/asio/write.hpp>

#include <string>
#include <thread>
#include <vector>

namespace {

namespace asio = boost::asio;
using QV::Logging::log_level;
const std::string prefix = "signature: Process err log: ";

// What is logged of `bytes`, and that it is logged as it should be.
std::vector<std::string> logged(const std::string& bytes,
                                std::size_t longest = QV::asio_helpers::longest_logged_line) {
    const test::captured_log log;
    asio::io_context context;
    asio::readable_pipe in(context);
    asio::writable_pipe out(context);
    asio::connect_pipe(in, out);
    QV::asio_helpers::async_log_lines(std::move(in), "signature", longest);
    std::thread writer([&] {
        asio::write(out, asio::buffer(bytes));
        out.close();
    });
    context.run();
    writer.join();
    std::vector<std::string> lines;
    for (const test::log_line& line : log.lines()) {
        EXPECT_EQ(line.level, log_level::trace);
        EXPECT_EQ(line.logger, "Global.Streams");
        EXPECT_TRUE(line.text.starts_with(prefix)) << line.text;
        lines.push_back(line.text.substr(prefix.size()));
    }
    return lines;
}

using lines = std::vector<std::string>;

TEST(log_lines, logs_each_line_without_its_line_feed) {
    EXPECT_EQ(logged("one\ntwo\nthree\n"), (lines{"one", "two", "three"}));
}

TEST(log_lines, logs_a_line_whole_with_its_leading_blanks) {
    EXPECT_EQ(logged("  error: x\n\tz \r\n"), (lines{"  error: x", "\tz \r"}));
}

TEST(log_lines, leaves_out_lines_of_white_space) {
    EXPECT_EQ(logged("\n   \r\n \t\v\f\n\nx\n"), lines{"x"});
    EXPECT_EQ(logged(""), lines{});
}

TEST(log_lines, logs_what_follows_the_last_line_feed) {
    EXPECT_EQ(logged("one\nabout to crash"), (lines{"one", "about to crash"}));
    EXPECT_EQ(logged("one\n  "), lines{"one"});
}

TEST(log_lines, keeps_long_lines_together) {
    const std::string line(300'000, 'x');
    EXPECT_EQ(logged(line + "\n" + line + "\n"), (lines{line, line}));
}

TEST(log_lines, cuts_a_line_that_would_never_end) {
    EXPECT_EQ(logged("aaaabbbbcc\nd\n", 4), (lines{"aaaa", "bbbb", "cc", "d"}));
}

TEST(log_lines, passes_bytes_that_are_not_text) {
    const std::string line("\x01\xFF\0{}%s", 7);
    EXPECT_EQ(logged(line + "\n"), lines{line});
}

TEST(log_lines, takes_a_read_of_no_bytes_for_no_line) {
    // The child's write of no bytes makes one.
    const test::captured_log log;
    asio::io_context context;
    test::scripted_stream stream(context.get_executor(), {{}, {"on"}, {}, {"e\ntwo\n"}, {}, {"three"}, {}});
    QV::asio_helpers::async_log_lines(std::move(stream), "signature");
    context.run();
    EXPECT_EQ(log.texts("Global.Streams"), (lines{prefix + "one", prefix + "two", prefix + "three"}));
}

TEST(log_lines, gives_up_when_there_is_no_memory_to_read) {
    const test::captured_log log;
    asio::io_context context;
    test::scripted_stream stream(context.get_executor(), {{"one\nabout"}, {.is_refused = true}, {"lost\n"}});
    QV::asio_helpers::async_log_lines(std::move(stream), "signature");
    EXPECT_NO_THROW(context.run());
    EXPECT_EQ(
        log.texts("Global.Streams"),
        (lines{prefix + "one", prefix + "about",
               "signature: Reading the process err log failed: " +
                   boost::system::errc::make_error_code(boost::system::errc::not_enough_memory).message() +
                   " [generic:12]"}));
}

TEST(log_lines, logs_a_failure_that_is_not_the_end) {
    const test::captured_log log;
    asio::io_context context;
    QV::asio_helpers::async_log_lines(asio::readable_pipe(context), "signature");
    context.run();
    EXPECT_EQ(log.matching(log_level::error, "signature: Reading the process err log failed: ").size(), 1u);
}

TEST(log_lines, is_quiet_when_its_context_dies) {
    const test::captured_log log;
    {
        asio::io_context context;
        asio::readable_pipe in(context);
        asio::writable_pipe out(context);
        asio::connect_pipe(in, out);
        QV::asio_helpers::async_log_lines(std::move(in), "signature");
    }
    EXPECT_TRUE(log.lines().empty());
}

} // namespace
