#include <QVSharedSupport/file.h>

#include "../helpers/memory_watch.h"
#include "file_helpers.h"
#include "sparse_file.h"
#include "temporary_folder.h"

#include <boost/asio/error.hpp>
#include <boost/asio/read_at.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <string>

namespace {

using boost::system::error_code;
using QV::file::errc;
using QV::file::readable_file;
using QV::file::writable_file;
using testing::IsEmpty;
using testing::StartsWith;

/// A file that others may write to meanwhile, which the library's own ways to open one do not allow.
class shared_file : public readable_file {
public:
    explicit shared_file(const QV::filesystem::path& path, DWORD access = GENERIC_READ) {
        assign(path, open_bare(path, access), QV::asio_helpers::ec_wrapper::throwing());
    }
};

/// Both forms of reading the whole of `file` must fail alike, and give nothing.
void expect_unread(readable_file& file, unsigned long long max_size, const error_code& code,
                   const std::string& text) {
    error_code ec;
    EXPECT_THAT(file.read_whole_file(max_size, ec), IsEmpty());
    EXPECT_EQ(ec, code) << ec.message();
    const thrown failure = thrown_by([&] { (void)file.read_whole_file(max_size); });
    EXPECT_EQ(failure.code, code) << failure.text;
    EXPECT_THAT(failure.text, StartsWith(text));
}

std::string too_large(const readable_file& file, unsigned long long size, unsigned long long limit) {
    return fmt::format("'{}' is {} bytes (max size is {} bytes): ", file.get_path().string(), size, limit);
}

TEST(get_total_size, is_the_size_as_it_is_now) {
    const temporary_folder folder;
    shared_file file(folder.make(L"f", "123"));
    error_code ec = windows_error(ERROR_GEN_FAILURE);
    EXPECT_EQ(file.get_total_size(ec), 3U);
    EXPECT_FALSE(ec.failed());
    folder.make(L"f", "12345");
    EXPECT_EQ(file.get_total_size(), 5U);
}

TEST(get_total_size, goes_beyond_32_bits) {
    const temporary_folder folder;
    for (const long long size : {0xFFFFFFFFLL, 0x100000000LL, 0x100000001LL, 0x1'2345'6789'AALL}) {
        readable_file file(make_sparse(folder, size));
        EXPECT_EQ(file.get_total_size(), static_cast<unsigned long long>(size));
    }
}

TEST(get_total_size, fails_on_a_closed_file) {
    readable_file closed;
    error_code ec;
    EXPECT_EQ(closed.get_total_size(ec), 0U);
    EXPECT_EQ(ec, windows_error(ERROR_INVALID_HANDLE));
    const thrown failure = thrown_by([&] { (void)closed.get_total_size(); });
    EXPECT_EQ(failure.code, windows_error(ERROR_INVALID_HANDLE));
    EXPECT_THAT(failure.text, StartsWith("when getting size of file '': "));
}

TEST(read_whole_file, reads_nothing_from_an_empty_file) {
    const temporary_folder folder;
    readable_file empty(folder.make(L"empty", ""));
    EXPECT_THAT(empty.read_whole_file(0), IsEmpty());
    error_code ec = windows_error(ERROR_GEN_FAILURE);
    EXPECT_THAT(empty.read_whole_file(0, ec), IsEmpty());
    EXPECT_FALSE(ec.failed());
    readable_file null_device(L"NUL");
    EXPECT_THAT(null_device.read_whole_file(10), IsEmpty());
}

TEST(read_whole_file, takes_the_limit_and_not_one_byte_more) {
    const temporary_folder folder;
    readable_file one(folder.make(L"one", "x"));
    EXPECT_EQ(text_of(one.read_whole_file(1)), "x");
    expect_unread(one, 0, errc::too_large, too_large(one, 1, 0));
    readable_file thousand(folder.make(L"thousand", std::string(1000, 'y')));
    error_code ec;
    EXPECT_EQ(text_of(thousand.read_whole_file(1000, ec)), std::string(1000, 'y'));
    EXPECT_FALSE(ec.failed());
    EXPECT_EQ(thousand.read_whole_file(~0ULL).size(), 1000U);
    expect_unread(thousand, 999, errc::too_large, too_large(thousand, 1000, 999));
}

TEST(read_whole_file, refuses_more_than_4_GiB_without_asking_for_memory) {
    const temporary_folder folder;
    readable_file file(make_sparse(folder, 0x100000005));
    std::size_t largest = 0;
    {
        const test::memory_watch watch([&](std::size_t size) {
            largest = std::max(largest, size);
            return true;
        });
        // Taken for 5 bytes, were the size cut to 32 bits.
        expect_unread(file, 0xFFFFFFFF, errc::too_large, too_large(file, 4294967301, 4294967295));
    }
    EXPECT_LT(largest, 1'000'000U);
}

TEST(read_whole_file, reads_in_large_pieces) {
    const temporary_folder folder;
    std::string text(40'000'000, 'q');
    for (std::size_t at = 0; at < text.size(); at += 997)
        text[at] = static_cast<char>('a' + at % 26);
    readable_file file(folder.make(L"large", text));
    EXPECT_TRUE(text_of(file.read_whole_file(text.size())) == text);
    EXPECT_TRUE(text_of(file.read_whole_file(text.size())) == text) << "it begins at the start each time";
}

// The moment between sizing and reading is the one when room for the contents is wanted.
template <class Change>
test::memory_watch when_wanted(std::size_t size, Change change) {
    return test::memory_watch([=](std::size_t wanted) {
        if (wanted == size) change();
        return true;
    });
}

TEST(read_whole_file, reads_a_growing_file_up_to_where_it_was) {
    const temporary_folder folder;
    shared_file file(folder.make(L"f", std::string(5000, 'a')));
    const auto watch = when_wanted(5000, [&] { folder.make(L"f", std::string(6000, 'b')); });
    EXPECT_EQ(text_of(file.read_whole_file(5000)), std::string(5000, 'b'));
    EXPECT_EQ(file.get_total_size(), 6000U);
}

TEST(read_whole_file, fails_on_a_shrinking_file) {
    const temporary_folder folder;
    const auto path = folder.make(L"f", std::string(5000, 'a'));
    for (const std::size_t rest : {4999U, 1U, 0U}) {
        shared_file file(path);
        const auto watch = when_wanted(5000, [&] { folder.make(L"f", std::string(rest, 'b')); });
        error_code ec;
        EXPECT_THAT(file.read_whole_file(5000, ec), IsEmpty());
        EXPECT_EQ(ec, boost::asio::error::eof) << ec.message();
        EXPECT_EQ(file.get_total_size(), rest);
        folder.make(L"f", std::string(5000, 'a'));
        const thrown failure = thrown_by([&] { (void)file.read_whole_file(5000); });
        EXPECT_EQ(failure.code, boost::asio::error::eof);
        EXPECT_THAT(failure.text, StartsWith("read: "));
        folder.make(L"f", std::string(5000, 'a'));
    }
}

TEST(read_whole_file, says_how_much_memory_it_lacks) {
    const temporary_folder folder;
    readable_file file(make_sparse(folder, 0x40000000));
    const test::memory_watch watch([](std::size_t size) { return size < 0x40000000; });
    // At the limit, so the size itself is no hindrance.
    expect_unread(file, 0x40000000, errc::no_memory,
                  "while allocating 1073741824 bytes for '" + file.get_path().string() +
                      "': std::bad_alloc: ");
}

TEST(read_whole_file, reports_a_failing_size) {
    readable_file closed;
    expect_unread(closed, 10, windows_error(ERROR_INVALID_HANDLE), "when getting size of file '': ");
}

TEST(read_whole_file, reports_a_failing_read) {
    const temporary_folder folder;
    shared_file unreadable(folder.make(L"f", "text"), FILE_READ_ATTRIBUTES | FILE_WRITE_DATA);
    EXPECT_EQ(unreadable.get_total_size(), 4U);
    expect_unread(unreadable, 10, windows_error(ERROR_ACCESS_DENIED), "read: ");
}

TEST(read_whole_file, fails_cleanly_wherever_memory_runs_out) {
    const temporary_folder folder;
    const auto path = folder.make(L"f", "some text");
    readable_file file(path);
    std::string last;
    error_code ec;
    const long failed = test::run_out_of_memory_everywhere(
        [&] {
            last.clear();
            ec = errc::no_memory;
            const auto bytes = file.read_whole_file(9, ec);
            if (!ec) last.assign(text_of(bytes));
        },
        [&](bool refused) {
            EXPECT_EQ(ec.failed(), refused);
            EXPECT_EQ(last, refused ? "" : "some text");
            EXPECT_EQ(text_of(file.read_whole_file(9)), "some text") << "it can be tried again";
        });
    EXPECT_GT(failed, 0);
}

TEST(opening_files, fails_cleanly_wherever_memory_runs_out) {
    const temporary_folder folder;
    const auto path = folder.make(L"f", "x");
    const long failed = test::run_out_of_memory_everywhere([&] { const readable_file file(path); },
                                                           [&](bool) {
                                                               // No handle is left behind.
                                                               const auto other =
                                                                   writable_file::open_append(path);
                                                               EXPECT_TRUE(other.is_open());
                                                           });
    EXPECT_GT(failed, 0);
    error_code ec;
    EXPECT_GT(test::run_out_of_memory_everywhere(
                  [&] { const auto file = writable_file::open_append(path, ec); },
                  [&](bool) { EXPECT_TRUE(writable_file::open_append(path).is_open()); }),
              0);
}

} // namespace
