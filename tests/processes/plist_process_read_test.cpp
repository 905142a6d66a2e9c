#include <QVSharedSupport/errors.h>
#include <QVSharedSupport/plist_process.h>

#include "../helpers/test_folders.h"
#include "helper_programs.h"

#include <gtest/gtest.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <optional>
#include <string>
#include <vector>

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using QV::plist_process;

// A helper that writes a recorded stream in pieces of 97 bytes and ends with code 3.
plist_process replay(const asio::any_io_executor& executor, const std::string& stream) {
    const std::string path = (test::own_data() / "stream" / stream).string();
    return plist_process(executor, helper_program("replay_stream"), {path, "97", "3"});
}

struct tally {
    int messages = 0;
    int not_messages = 0;
    error_code last;
};

asio::awaitable<void> count(plist_process& process, tally& result) {
    while (result.last != QV::errc::eof) {
        const auto [ec, message] = co_await process.async_read(asio::as_tuple(asio::use_awaitable));
        EXPECT_EQ(message.has_value(), !ec);
        result.last = ec;
        if (message)
            ++result.messages;
        else if (ec == QV::SharedSupport::ErrorCode::FailedToParse)
            ++result.not_messages;
        else if (ec != QV::errc::eof)
            co_return;
    }
}

tally count_async(const std::string& stream) {
    asio::io_context context;
    tally result;
    plist_process process = replay(context.get_executor(), stream);
    asio::co_spawn(context, count(process, result), asio::detached);
    context.run();
    process.wait();
    EXPECT_EQ(process.get_error_code(), 3);
    return result;
}

tally count_blocking(const std::string& stream) {
    asio::io_context context;
    tally result;
    plist_process process = replay(context.get_executor(), stream);
    do {
        const auto message = process.read(result.last);
        if (message)
            ++result.messages;
        else if (result.last == QV::SharedSupport::ErrorCode::FailedToParse)
            ++result.not_messages;
    } while (result.last != QV::errc::eof && result.messages + result.not_messages < 10'000);
    return result;
}

TEST(plist_process_read, counts_what_is_a_message_and_what_is_not) {
    for (const std::string stream : {"basic.plists", "array_root.plists", "truncated_end.plists"}) {
        SCOPED_TRACE(stream);
        const tally async = count_async(stream);
        const tally blocking = count_blocking(stream);
        EXPECT_GT(async.messages, 0);
        EXPECT_EQ(async.not_messages, stream == "basic.plists" ? 0 : 1);
        EXPECT_EQ(async.last, QV::errc::eof) << async.last.message();
        EXPECT_EQ(blocking.messages, async.messages);
        EXPECT_EQ(blocking.not_messages, async.not_messages);
    }
}

TEST(plist_process_read, throws_the_reason_for_no_message) {
    asio::io_context context;
    plist_process none(context.get_executor());
    try {
        (void)none.read();
        FAIL() << "nothing thrown";
    } catch (const boost::system::system_error& error) {
        EXPECT_EQ(error.code(), asio::error::bad_descriptor);
        EXPECT_EQ(std::string(error.what()).rfind("read", 0), 0u) << error.what();
    }
}

} // namespace
