// Memory that fails in the middle of reading from a child. Where the library's own operator new is the
// program's.
#include <QVSharedSupport/plist_stream.h>

#include "../helpers/captured_log.h"
#include "../helpers/failing_new.h"
#include "asio_helpers/log_lines.h"
#include "message_samples.h"
#include "scripted_stream.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>

#include <new>
#include <string>
#include <vector>

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using QV::Logging::log_level;

TEST(log_lines, logs_in_pieces_what_it_has_no_memory_to_keep_together) {
    const test::captured_log log;
    asio::io_context context;
    const std::string beginning(300, 'x');
    const std::string more(500, 'y');
    // The log has no memory either while the line ends in vain, so that piece is not seen.
    test::scripted_stream stream(context.get_executor(),
                                 {{beginning},
                                  {.bytes = more, .before_handler = [] { qv_test::limit_blocks(0); }},
                                  {.bytes = "z\nnext\n", .before_read = [] { qv_test::limit_blocks(-1); }}});
    QV::asio_helpers::async_log_lines(std::move(stream), "signature");
    EXPECT_NO_THROW(context.run());
    const std::vector<std::string> expected = {"signature: Process err log: z",
                                               "signature: Process err log: next"};
    EXPECT_EQ(log.texts("Global.Streams"), expected);
}

TEST(log_lines, begins_without_failure_whatever_memory_there_is) {
    const auto begin = [](long blocks) {
        asio::io_context context;
        test::scripted_stream stream(context.get_executor(), {{"one\n"}});
        qv_test::limit_blocks(blocks);
        QV::asio_helpers::async_log_lines(std::move(stream), "signature");
        const bool was_enough = !qv_test::is_out_of_blocks();
        qv_test::limit_blocks(-1);
        context.run();
        return was_enough;
    };
    const test::captured_log log;
    long blocks = 0;
    while (!begin(blocks))
        ++blocks;
    EXPECT_GT(blocks, 0);
    EXPECT_FALSE(log.matching(log_level::trace, "one").empty());
}

TEST(log_unexpected_data, survives_the_lack_of_memory) {
    // A text that does not fit into a string of its own.
    const error_code ec = make_error_code(boost::system::errc::not_enough_memory);
    const CF::Data data;
    QV::detail::log_unexpected_data("signature", ec, data);
    for (long blocks = 0; blocks < 10; ++blocks) {
        qv_test::limit_blocks(blocks);
        QV::detail::log_unexpected_data("signature", ec, data);
        qv_test::limit_blocks(-1);
    }
    const test::captured_log log;
    QV::detail::log_unexpected_data("signature", ec, data);
    EXPECT_EQ(log.matching(log_level::error,
                           "signature: Data is not type, error (" + ec.message() + " [generic:12]): ")
                  .size(),
              1u);
}

} // namespace
