#include <QVSharedSupport/file.h>

#include "temporary_folder.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read_at.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/asio/write_at.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using boost::system::error_code;
using boost::system::system_error;
using QV::file::errc;
using QV::file::readable_file;
using QV::file::writable_file;
using testing::HasSubstr;
using testing::StartsWith;

std::string text_of(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

template <class Function>
std::pair<error_code, std::string> failure_of(Function function) {
    try {
        function();
    } catch (const system_error& failure) {
        return {failure.code(), failure.what()};
    }
    return {};
}

error_code windows_error(int value) {
    return {value, boost::system::system_category()};
}

TEST(file_errc, has_its_texts_and_conditions) {
    EXPECT_STREQ(QV::file::error_category().name(), "QV::file");
    EXPECT_EQ(error_code(errc::success).message(), "Success");
    EXPECT_EQ(error_code(errc::too_large).message(), "File is too large to fit into the buffer");
    EXPECT_EQ(error_code(errc::no_memory).message(), "Could not allocate buffer for file");
    EXPECT_EQ(error_code(errc::not_locked).message(), "Could not obtain file lock");
    EXPECT_EQ(error_code(9, QV::file::error_category()).message(), "Unknown error 9");
    EXPECT_TRUE(error_code(errc::too_large) == boost::system::errc::not_enough_memory);
    EXPECT_TRUE(error_code(errc::no_memory) == boost::system::errc::not_enough_memory);
    EXPECT_TRUE(error_code(errc::not_locked) == boost::system::errc::operation_would_block);
    EXPECT_EQ(QV::file::get_logger().name(), "QV::file");
}

TEST(readable_file, reads_up_to_the_limit) {
    const temporary_folder folder;
    readable_file empty(folder.make(L"empty", ""));
    EXPECT_TRUE(empty.read_whole_file(0).empty());
    readable_file one(folder.make(L"one", "x"));
    EXPECT_EQ(one.get_total_size(), 1U);
    EXPECT_EQ(text_of(one.read_whole_file(1)), "x");
    error_code ec;
    EXPECT_TRUE(one.read_whole_file(0, ec).empty());
    EXPECT_EQ(ec, errc::too_large);
    const auto [code, text] = failure_of([&] { one.read_whole_file(0); });
    EXPECT_EQ(code, errc::too_large);
    EXPECT_THAT(text, HasSubstr("one' is 1 bytes (max size is 0 bytes)"));
    const std::string large(40'000'000, 'q');
    EXPECT_EQ(text_of(readable_file(folder.make(L"large", large)).read_whole_file(large.size())), large);
}

TEST(readable_file, says_what_it_could_not_open) {
    const temporary_folder folder;
    const auto path = folder.path(L"missing");
    const auto [code, text] = failure_of([&] { readable_file file(path); });
    EXPECT_EQ(code, windows_error(ERROR_FILE_NOT_FOUND));
    EXPECT_THAT(text, StartsWith("when opening file '" + path.string() + "' for reading"));
    error_code ec;
    const readable_file closed(path, ec);
    EXPECT_EQ(ec, windows_error(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(closed.is_open());
    const readable_file folder_as_file(folder.path(L""), ec);
    EXPECT_TRUE(ec.failed());
    folder.make(L"cut", "x");
    const readable_file nul(folder.path(std::wstring(L"cut\0rest", 8)), ec);
    EXPECT_EQ(ec, windows_error(ERROR_INVALID_NAME));
}

TEST(readable_file, shares_reading_but_not_writing) {
    const temporary_folder folder;
    const auto path = folder.make(L"shared \x8BD5", "x");
    const readable_file first(path);
    readable_file second(path);
    EXPECT_EQ(text_of(second.read_whole_file(1)), "x");
    error_code ec;
    EXPECT_FALSE(writable_file::open_append(path, ec).is_open());
    EXPECT_EQ(ec, windows_error(ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST(readable_file, is_closed_by_closing_and_moving) {
    const temporary_folder folder;
    readable_file file(folder.make(L"a", "a"));
    readable_file other(folder.make(L"b", "b"));
    other = std::move(file);
    EXPECT_FALSE(file.is_open()); // NOLINT(bugprone-use-after-move): moved-from files are closed
    EXPECT_EQ(other.get_path(), folder.path(L"a"));
    EXPECT_EQ(text_of(other.read_whole_file(9)), "a");
    EXPECT_TRUE(writable_file::open_append(folder.path(L"b")).is_open()) << "assignment closes what was held";
    other.close();
    EXPECT_FALSE(other.is_open());
    other.close();
    const auto [code, text] = failure_of([&] { other.get_total_size(); });
    EXPECT_TRUE(code.failed());
    EXPECT_THAT(text, StartsWith("when getting size of file '"));
    readable_file broken(folder.path(L"a"));
    CloseHandle(broken.get_handle().native_handle());
    const auto [close_code, close_text] = failure_of([&] { broken.close(); });
    EXPECT_EQ(close_code, windows_error(ERROR_INVALID_HANDLE));
    EXPECT_THAT(close_text, StartsWith("close"));
    EXPECT_FALSE(broken.is_open());
}

TEST(writable_file, treats_a_file_that_is_there_as_asked) {
    const temporary_folder folder;
    const auto path = folder.path(L"log");
    writable_file made = writable_file::create_new(path);
    boost::asio::write_at(made.get_handle(), 0, boost::asio::buffer("abc", 3));
    made.close();
    const auto [code, text] = failure_of([&] { (void)writable_file::create_new(path); });
    EXPECT_EQ(code, windows_error(ERROR_FILE_EXISTS));
    EXPECT_THAT(text, StartsWith("when creating new file '" + path.string() + "' for writing"));
    writable_file appended = writable_file::open_append(path);
    boost::asio::write_at(appended.get_handle(), 0, boost::asio::buffer("de", 2));
    boost::asio::write_at(appended.get_handle(), 77, boost::asio::buffer("f", 1));
    appended.close();
    EXPECT_EQ(folder.read(L"log"), "abcdef");
    writable_file::open_clobber(path).close();
    EXPECT_EQ(folder.read(L"log"), "");
    EXPECT_TRUE(writable_file::open_append(folder.path(L"new")).is_open());
    const auto below = folder.path(L"missing\\file");
    EXPECT_THAT(failure_of([&] { (void)writable_file::open_append(below); }).second,
                StartsWith("when opening file '" + below.string() + "' for appending"));
    const auto [gone, clobber] = failure_of([&] { (void)writable_file::open_clobber(below); });
    EXPECT_EQ(gone, windows_error(ERROR_PATH_NOT_FOUND));
    EXPECT_THAT(clobber, StartsWith("when clobbering file '" + below.string() + "' for writing"));
}

TEST(file, reads_and_writes_asynchronously_at_offsets) {
    const temporary_folder folder;
    writable_file out = writable_file::create_new(folder.path(L"f"));
    EXPECT_EQ(boost::asio::async_write_at(out.get_handle(), 2, boost::asio::buffer("xyz", 3),
                                          boost::asio::use_future)
                  .get(),
              3U);
    out.close();
    readable_file in(folder.path(L"f"));
    std::string read(2, ' ');
    EXPECT_EQ(
        boost::asio::async_read_at(in.get_handle(), 3, boost::asio::buffer(read), boost::asio::use_future)
            .get(),
        2U);
    EXPECT_EQ(read, "yz");
}

} // namespace
