#include <QVSharedSupport/pipe.h>

#include "helper_programs.h"

#include <gtest/gtest.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/write.hpp>

#include <windows.h>

#include <string>
#include <utility>

namespace {

using QV::pipe::handle;

static_assert(!std::is_copy_constructible_v<handle>);
static_assert(std::is_nothrow_move_constructible_v<handle>);
static_assert(sizeof(handle) == sizeof(void*));

bool is_inheritable(HANDLE h) {
    DWORD flags = 0;
    EXPECT_TRUE(GetHandleInformation(h, &flags));
    return (flags & HANDLE_FLAG_INHERIT) != 0;
}

bool is_open(HANDLE h) {
    DWORD flags = 0;
    return GetHandleInformation(h, &flags) != FALSE;
}

HANDLE make_event() {
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

TEST(pipe_handle, closes_what_it_owns) {
    const HANDLE event = make_event();
    { const handle owner(event); }
    EXPECT_FALSE(is_open(event));
}

TEST(pipe_handle, is_null_after_destroy) {
    handle owner(make_event());
    const HANDLE event = owner.get();
    owner.destroy();
    EXPECT_EQ(owner.get(), nullptr);
    EXPECT_FALSE(owner);
    EXPECT_FALSE(is_open(event));
    owner.destroy();
    EXPECT_EQ(owner.get(), nullptr);
}

TEST(pipe_handle, ignores_a_handle_that_cannot_be_closed) {
    const HANDLE event = make_event();
    handle owner(event);
    CloseHandle(event);
    owner.destroy();
    EXPECT_EQ(owner.get(), nullptr);
}

TEST(pipe_handle, moves_and_releases) {
    handle first(make_event());
    const HANDLE a = first.get();
    handle second(std::move(first));
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move): a moved-from handle is null
    handle third(make_event());
    const HANDLE b = third.get();
    third = std::move(second);
    EXPECT_EQ(third.get(), a);
    EXPECT_FALSE(is_open(b)) << "assignment closes what was held";
    handle& same = third;
    third = std::move(same);
    EXPECT_EQ(third.get(), a);
    EXPECT_EQ(third.release(), a);
    EXPECT_FALSE(third);
    EXPECT_TRUE(is_open(a));
    CloseHandle(a);
}

TEST(pipe, has_two_ends_that_nobody_inherits) {
    const QV::pipe::handle_pair ends = QV::pipe::make_handle_pair();
    handle read_end(ends.read_end);
    handle write_end(ends.write_end);
    EXPECT_TRUE(read_end);
    EXPECT_TRUE(write_end);
    EXPECT_FALSE(is_inheritable(read_end.get()));
    EXPECT_FALSE(is_inheritable(write_end.get()));
}

TEST(pipe, carries_bytes_one_way) {
    boost::asio::io_context context;
    QV::pipe::write_pipe out = QV::pipe::make_write_pipe(context.get_executor());
    const HANDLE read_end = out.read_end.release();
    QV::pipe::stream in(context, read_end);
    const std::string sent = "hello";
    EXPECT_EQ(boost::asio::write(out.write_end, boost::asio::buffer(sent)), sent.size());
    std::string got(sent.size(), ' ');
    EXPECT_EQ(boost::asio::read(in, boost::asio::buffer(got)), got.size());
    EXPECT_EQ(got, sent);
    boost::system::error_code ec;
    boost::asio::write(in, boost::asio::buffer(sent), ec);
    EXPECT_TRUE(ec) << "the read end cannot be written";
}

TEST(pipe, ends_when_the_write_end_closes) {
    boost::asio::io_context context;
    QV::pipe::read_pipe in = QV::pipe::make_read_pipe(context.get_executor());
    boost::system::error_code ended;
    char byte = 0;
    in.read_end.async_read_some(boost::asio::buffer(&byte, 1),
                                [&](boost::system::error_code ec, std::size_t) { ended = ec; });
    in.write_end.destroy();
    context.run();
    EXPECT_EQ(ended, boost::system::errc::broken_pipe);
}

TEST(pipe, delivers_on_the_given_executor) {
    boost::asio::thread_pool pool(2);
    QV::pipe::read_pipe in = QV::pipe::make_read_pipe(pool.get_executor());
    QV::pipe::stream out(pool, in.write_end.release());
    char byte = 0;
    bool on_pool = false;
    in.read_end.async_read_some(
        boost::asio::buffer(&byte, 1),
        [&](boost::system::error_code ec, std::size_t count) { on_pool = !ec && count == 1 && byte == 'x'; });
    boost::asio::write(out, boost::asio::buffer("x", 1));
    pool.join();
    EXPECT_TRUE(on_pool);
}

TEST(pipe, leaves_no_handle_behind) {
    boost::asio::io_context context;
    { const auto warm_up = QV::pipe::make_read_pipe(context.get_executor()); }
    const unsigned long before = open_handles();
    for (int i = 0; i < 100; ++i) {
        const auto in = QV::pipe::make_read_pipe(context.get_executor());
        const auto out = QV::pipe::make_write_pipe(context.get_executor());
    }
    EXPECT_EQ(open_handles(), before);
}

} // namespace
