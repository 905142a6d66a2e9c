// Files as Asio objects: blocking and asynchronous operations at offsets, and what becomes of those that are
// under way when the file goes.
#include <QVSharedSupport/file.h>

#include "file_helpers.h"
#include "temporary_folder.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/read_at.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/asio/write_at.hpp>

#include <array>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using QV::asio_helpers::ec_wrapper;
using QV::file::readable_file;
using QV::file::writable_file;

TEST(file_async, writes_and_reads_at_offsets) {
    const temporary_folder folder;
    writable_file out = writable_file::create_new(folder.path(L"f"));
    const auto written = [&](std::uint64_t offset, std::string_view text) {
        return asio::async_write_at(out.get_handle(), offset, asio::buffer(text), asio::use_future).get();
    };
    EXPECT_EQ(written(2, "xyz"), 3U);
    EXPECT_EQ(written(0, "ab"), 2U);
    EXPECT_EQ(written(1, "B"), 1U);
    out.close();
    EXPECT_EQ(folder.read(L"f"), "aBxyz");

    readable_file in(folder.path(L"f"));
    std::string text(2, ' ');
    EXPECT_EQ(asio::async_read_at(in.get_handle(), 3, asio::buffer(text), asio::use_future).get(), 2U);
    EXPECT_EQ(text, "yz");
    EXPECT_EQ(asio::async_read_at(in.get_handle(), 0, asio::buffer(text), asio::use_future).get(), 2U);
    EXPECT_EQ(text, "aB");
}

TEST(file_async, reads_up_to_the_end) {
    const temporary_folder folder;
    readable_file in(folder.make(L"f", "12345"));
    std::string text(10, ' ');
    error_code ec;
    EXPECT_EQ(asio::read_at(in.get_handle(), 3, asio::buffer(text), ec), 2U);
    EXPECT_EQ(ec, asio::error::eof);
    std::promise<error_code> ended;
    in.get_handle().async_read_some_at(5, asio::buffer(text),
                                       [&](error_code code, std::size_t) { ended.set_value(code); });
    EXPECT_EQ(ended.get_future().get(), asio::error::eof);
}

TEST(file_async, goes_beyond_4_GiB) {
    const temporary_folder folder;
    constexpr std::uint64_t far_away = 0x1'0000'0007;
    writable_file out = writable_file::create_new(folder.path(L"f"));
    write(out, 0, "near");
    EXPECT_EQ(
        asio::async_write_at(out.get_handle(), far_away, asio::buffer("far", 3), asio::use_future).get(), 3U);
    out.close();
    readable_file in(folder.path(L"f"));
    EXPECT_EQ(in.get_total_size(), far_away + 3);
    std::string text(3, ' ');
    EXPECT_EQ(asio::async_read_at(in.get_handle(), far_away, asio::buffer(text), asio::use_future).get(), 3U);
    EXPECT_EQ(text, "far");
    asio::read_at(in.get_handle(), 0, asio::buffer(text));
    EXPECT_EQ(text, "nea");
}

TEST(file_async, appends_whatever_the_offset) {
    const temporary_folder folder;
    writable_file log = writable_file::open_append(folder.make(L"log", "old "));
    write(log, 0, "a");
    write(log, 77, "b");
    write(log, 0xFFFF'FFFF'FFFF, "c");
    EXPECT_EQ(asio::async_write_at(log.get_handle(), 1, asio::buffer("d", 1), asio::use_future).get(), 1U);
    log.close();
    log = writable_file::open_append(folder.path(L"log"));
    write(log, 2, "e");
    log.close();
    EXPECT_EQ(folder.read(L"log"), "old abcde");
}

TEST(file_async, cannot_write_what_was_opened_for_reading) {
    const temporary_folder folder;
    readable_file in(folder.make(L"f", "kept"));
    error_code ec;
    asio::write_at(in.get_handle(), 0, asio::buffer("x", 1), ec);
    EXPECT_EQ(ec, windows_error(ERROR_ACCESS_DENIED)) << ec.message();
    writable_file out = writable_file::open_append(folder.path(L"other"));
    std::string text(1, ' ');
    asio::read_at(out.get_handle(), 0, asio::buffer(text), ec);
    EXPECT_EQ(ec, windows_error(ERROR_ACCESS_DENIED)) << ec.message();
    EXPECT_EQ(folder.read(L"f"), "kept");
}

TEST(file_async, runs_handlers_on_the_executor_they_are_bound_to) {
    const temporary_folder folder;
    readable_file in(folder.make(L"f", "text"));
    asio::io_context context;
    std::string text(4, ' ');
    std::thread::id handled_on;
    asio::async_read_at(in.get_handle(), 0, asio::buffer(text),
                        asio::bind_executor(context, [&](error_code ec, std::size_t size) {
                            EXPECT_FALSE(ec.failed());
                            EXPECT_EQ(size, 4U);
                            handled_on = std::this_thread::get_id();
                        }));
    context.run();
    EXPECT_TRUE(handled_on == std::this_thread::get_id());
    EXPECT_EQ(text, "text");
}

TEST(file_async, has_many_operations_under_way_at_once) {
    const temporary_folder folder;
    constexpr std::size_t pieces = 64;
    constexpr std::size_t piece_size = 4096;
    std::vector<std::string> texts;
    writable_file out = writable_file::create_new(folder.path(L"f"));
    std::vector<std::future<std::size_t>> results;
    for (std::size_t piece = 0; piece != pieces; ++piece)
        texts.emplace_back(piece_size, static_cast<char>('0' + piece));
    for (std::size_t piece = pieces; piece-- != 0;)
        results.push_back(asio::async_write_at(out.get_handle(), piece * piece_size,
                                               asio::buffer(texts[piece]), asio::use_future));
    for (std::future<std::size_t>& result : results)
        EXPECT_EQ(result.get(), piece_size);
    out.close();
    readable_file in(folder.path(L"f"));
    std::vector<std::string> read(pieces, std::string(piece_size, ' '));
    results.clear();
    for (std::size_t piece = 0; piece != pieces; ++piece)
        results.push_back(asio::async_read_at(in.get_handle(), piece * piece_size, asio::buffer(read[piece]),
                                              asio::use_future));
    for (std::future<std::size_t>& result : results)
        EXPECT_EQ(result.get(), piece_size);
    EXPECT_EQ(read, texts);
}

/// A pipe whose other end neither sends nor receives: what is begun on it stays under way.
struct silent_pipe {
    silent_pipe()
        : server(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 16, 16, 0, nullptr)) {
        EXPECT_NE(server, INVALID_HANDLE_VALUE);
    }
    ~silent_pipe() { CloseHandle(server); }
    silent_pipe(const silent_pipe&) = delete;
    silent_pipe& operator=(const silent_pipe&) = delete;

    const std::wstring name = LR"(\\.\pipe\qv file test )" + std::to_wstring(GetCurrentProcessId());
    const HANDLE server;
};

/// Takes the result of an operation and lets the test wait for it.
class outcome {
public:
    auto handler() {
        return [state = state_](error_code ec, std::size_t) {
            const std::lock_guard lock(state->mutex);
            state->results.push_back(ec);
            state->changed.notify_all();
        };
    }
    /// The result of the first operation that ended; blocks until one has.
    error_code wait() const {
        std::unique_lock lock(state_->mutex);
        state_->changed.wait(lock, [&] { return !state_->results.empty(); });
        return state_->results.front();
    }
    std::size_t count() const {
        const std::lock_guard lock(state_->mutex);
        return state_->results.size();
    }

private:
    struct state {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<error_code> results;
    };
    std::shared_ptr<state> state_ = std::make_shared<state>();
};

class file_with_a_read_under_way : public testing::Test {
protected:
    file_with_a_read_under_way() : file(std::in_place, pipe.name) {
        file->get_handle().async_read_some_at(0, asio::buffer(*buffer),
                                              [keep = buffer, handler = read.handler()](
                                                  error_code ec, std::size_t size) { handler(ec, size); });
    }

    silent_pipe pipe;
    std::shared_ptr<std::array<char, 4>> buffer = std::make_shared<std::array<char, 4>>();
    outcome read;
    std::optional<readable_file> file;
};

TEST_F(file_with_a_read_under_way, may_be_destroyed) {
    EXPECT_EQ(read.count(), 0U);
    file.reset();
    EXPECT_EQ(read.wait(), asio::error::operation_aborted);
    EXPECT_EQ(read.count(), 1U);
}

TEST_F(file_with_a_read_under_way, may_be_closed) {
    file->close();
    EXPECT_EQ(read.wait(), asio::error::operation_aborted);
    EXPECT_FALSE(file->is_open());
}

TEST_F(file_with_a_read_under_way, may_be_assigned_to) {
    *file = readable_file();
    EXPECT_EQ(read.wait(), asio::error::operation_aborted);
}

TEST_F(file_with_a_read_under_way, may_be_cancelled) {
    file->get_handle().cancel();
    EXPECT_EQ(read.wait(), asio::error::operation_aborted);
    EXPECT_TRUE(file->is_open());
}

TEST_F(file_with_a_read_under_way, may_be_moved) {
    readable_file moved(std::move(*file));
    file.reset();
    EXPECT_EQ(read.count(), 0U);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(pipe.server, "data", 4, &written, nullptr));
    EXPECT_FALSE(read.wait().failed());
    EXPECT_EQ(std::string(buffer->data(), 4), "data");
}

TEST_F(file_with_a_read_under_way, may_be_destroyed_by_its_own_handler) {
    DWORD written = 0;
    std::promise<error_code> destroyed;
    auto more = std::make_shared<std::array<char, 4>>();
    ASSERT_TRUE(WriteFile(pipe.server, "data", 4, &written, nullptr));
    EXPECT_FALSE(read.wait().failed());
    file->get_handle().async_read_some_at(0, asio::buffer(*more), [&, more](error_code ec, std::size_t) {
        file.reset();
        destroyed.set_value(ec);
    });
    ASSERT_TRUE(WriteFile(pipe.server, "more", 4, &written, nullptr));
    EXPECT_FALSE(destroyed.get_future().get().failed());
    EXPECT_FALSE(file.has_value());
}

/// The library's own ways to open one want a file, not a pipe.
class pipe_writer : public writable_file {
public:
    explicit pipe_writer(const QV::filesystem::path& path) {
        assign(path, open_bare(path, GENERIC_WRITE), ec_wrapper::throwing());
    }
};

TEST(file_with_a_write_under_way, may_be_destroyed) {
    const silent_pipe pipe;
    const std::string text(1 << 20, 'x');
    outcome written;
    {
        pipe_writer file(pipe.name);
        asio::async_write_at(file.get_handle(), 0, asio::buffer(text), written.handler());
        EXPECT_EQ(written.count(), 0U);
    }
    EXPECT_EQ(written.wait(), asio::error::operation_aborted);
}

} // namespace
