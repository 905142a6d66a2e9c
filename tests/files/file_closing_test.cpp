#include <QVSharedSupport/file.h>

#include "file_helpers.h"
#include "temporary_folder.h"

#include <boost/asio/error.hpp>

#include <memory>
#include <string>
#include <utility>

namespace {

using boost::system::error_code;
using QV::asio_helpers::ec_wrapper;
using QV::file::readable_file;
using QV::file::writable_file;
using testing::StartsWith;

bool is_held(const QV::filesystem::path& path) {
    const HANDLE handle = open_bare(path, GENERIC_READ, OPEN_EXISTING, 0);
    if (handle == INVALID_HANDLE_VALUE) return true;
    CloseHandle(handle);
    return false;
}

/// Closes the handle of an open file behind its back.
template <class File>
void break_handle(File& file) {
    ASSERT_TRUE(CloseHandle(file.get_handle().native_handle()));
}

template <class Mode>
class closing : public testing::Test {
protected:
    using file_type = decltype(Mode::open(std::declval<const QV::filesystem::path&>()));

    file_type open(const std::wstring& name) const {
        if constexpr (std::is_same_v<Mode, modes::reading>) folder.make(name, name == L"a" ? "a" : "b");
        return Mode::open(folder.path(name));
    }

    const temporary_folder folder;
};
TYPED_TEST_SUITE(closing, modes::all);

TYPED_TEST(closing, of_a_file_that_never_was_open_does_nothing) {
    typename TestFixture::file_type file;
    EXPECT_FALSE(file.is_open());
    EXPECT_TRUE(file.get_path().empty());
    EXPECT_EQ(file.get_handle().native_handle(), INVALID_HANDLE_VALUE);
    file.close();
    EXPECT_FALSE(file.is_open());
}

TYPED_TEST(closing, twice_is_the_same_as_once) {
    auto file = this->open(L"a");
    EXPECT_TRUE(file.is_open());
    EXPECT_TRUE(is_held(this->folder.path(L"a")));
    file.close();
    EXPECT_FALSE(file.is_open());
    EXPECT_FALSE(is_held(this->folder.path(L"a")));
    file.close();
    EXPECT_FALSE(file.is_open());
    EXPECT_EQ(file.get_path(), this->folder.path(L"a")) << "the path stays";
}

TYPED_TEST(closing, happens_on_destruction) {
    {
        const auto file = this->open(L"a");
        EXPECT_TRUE(is_held(this->folder.path(L"a")));
    }
    EXPECT_FALSE(is_held(this->folder.path(L"a")));
}

TYPED_TEST(closing, that_fails_leaves_a_closed_file) {
    auto file = this->open(L"a");
    break_handle(file);
    const thrown failure = thrown_by([&] { file.close(); });
    EXPECT_EQ(failure.code, windows_error(ERROR_INVALID_HANDLE));
    EXPECT_THAT(failure.text, StartsWith("close: "));
    EXPECT_FALSE(file.is_open());
    file.close();
}

TYPED_TEST(closing, that_fails_on_destruction_or_assignment_is_ignored) {
    {
        auto file = this->open(L"a");
        break_handle(file);
    }
    auto target = this->open(L"b");
    break_handle(target);
    target = typename TestFixture::file_type();
    EXPECT_FALSE(target.is_open());
}

TYPED_TEST(closing, happens_to_what_is_moved_from) {
    auto file = this->open(L"a");
    const auto taken = std::move(file);
    // NOLINTBEGIN(bugprone-use-after-move): moved-from files are closed
    EXPECT_FALSE(file.is_open());
    EXPECT_TRUE(file.get_path().empty());
    file.close();
    // NOLINTEND(bugprone-use-after-move)
    EXPECT_TRUE(taken.is_open());
    EXPECT_EQ(taken.get_path(), this->folder.path(L"a"));
    EXPECT_TRUE(is_held(this->folder.path(L"a")));
}

TYPED_TEST(closing, happens_to_what_is_assigned_to) {
    auto file = this->open(L"a");
    auto target = this->open(L"b");
    target = std::move(file);
    EXPECT_FALSE(file.is_open()); // NOLINT(bugprone-use-after-move): moved-from files are closed
    EXPECT_TRUE(target.is_open());
    EXPECT_EQ(target.get_path(), this->folder.path(L"a"));
    EXPECT_TRUE(is_held(this->folder.path(L"a")));
    EXPECT_FALSE(is_held(this->folder.path(L"b")));
}

TYPED_TEST(closing, does_not_happen_on_assignment_to_itself) {
    auto file = this->open(L"a");
    auto& same = file;
    file = std::move(same);
    EXPECT_TRUE(file.is_open());
    EXPECT_EQ(file.get_path(), this->folder.path(L"a"));
}

TEST(readable_file, is_read_after_it_was_moved) {
    const temporary_folder folder;
    readable_file file(folder.make(L"a", "text"));
    readable_file moved(std::move(file));
    EXPECT_EQ(text_of(moved.read_whole_file(4)), "text");
    readable_file assigned;
    assigned = std::move(moved);
    EXPECT_EQ(text_of(assigned.read_whole_file(4)), "text");
    assigned = readable_file(folder.make(L"b", "more"));
    EXPECT_EQ(text_of(assigned.read_whole_file(4)), "more");
}

TEST(writable_file, is_written_after_it_was_moved) {
    const temporary_folder folder;
    writable_file file = writable_file::create_new(folder.path(L"a"));
    writable_file moved(std::move(file));
    write(moved, 0, "te");
    writable_file assigned = writable_file::create_new(folder.path(L"b"));
    assigned = std::move(moved);
    write(assigned, 2, "xt");
    assigned.close();
    EXPECT_EQ(folder.read(L"a"), "text");
    EXPECT_EQ(folder.read(L"b"), "");
}

/// What classes derived from the files' base may do.
class own_file : public readable_file {
public:
    using readable_file::assign;
    using readable_file::open_and_assign;
};

TEST(file_assign, takes_a_handle_over) {
    const temporary_folder folder;
    const auto path = folder.make(L"f", "text");
    own_file file;
    error_code ec = windows_error(ERROR_GEN_FAILURE);
    file.assign(path, open_bare(path, GENERIC_READ), ec);
    EXPECT_FALSE(ec.failed());
    EXPECT_EQ(file.get_path(), path);
    EXPECT_EQ(text_of(file.read_whole_file(4)), "text");
    file.close();
    EXPECT_FALSE(is_held(path));
}

TEST(file_assign, closes_a_handle_that_cannot_be_bound) {
    const temporary_folder folder;
    const auto path = folder.make(L"f", "text");
    // Not opened for overlapped operations, which Asio needs.
    const auto open_wrongly = [&] {
        return CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    };
    own_file file;
    error_code ec;
    file.assign(path, open_wrongly(), ec);
    EXPECT_EQ(ec, windows_error(ERROR_INVALID_PARAMETER)) << ec.message();
    EXPECT_FALSE(file.is_open());
    EXPECT_TRUE(file.get_path().empty());
    EXPECT_FALSE(is_held(path));
    const thrown failure = thrown_by([&] { file.assign(path, open_wrongly(), ec_wrapper::throwing()); });
    EXPECT_EQ(failure.code, windows_error(ERROR_INVALID_PARAMETER));
    EXPECT_THAT(failure.text, StartsWith("assign: "));
    EXPECT_FALSE(is_held(path));
}

TEST(file_assign, leaves_an_open_file_alone) {
    const temporary_folder folder;
    const auto path = folder.make(L"f", "text");
    const auto other = folder.make(L"other", "x");
    own_file file;
    file.assign(path, open_bare(path, GENERIC_READ), ec_wrapper::throwing());
    error_code ec;
    file.assign(other, open_bare(other, GENERIC_READ), ec);
    EXPECT_EQ(ec, boost::asio::error::already_open);
    EXPECT_EQ(file.get_path(), path);
    EXPECT_EQ(text_of(file.read_whole_file(4)), "text");
    EXPECT_FALSE(is_held(other));
}

void* open_for_test(const boost::filesystem::path& path, ec_wrapper) {
    return open_bare(path, GENERIC_READ);
}

void* refuse_to_open(const boost::filesystem::path&, ec_wrapper ec) {
    ec.report(windows_error(ERROR_BUSY), "refused");
    return INVALID_HANDLE_VALUE;
}

TEST(file_open_and_assign, calls_the_opener_with_the_path) {
    const temporary_folder folder;
    const auto path = folder.make(L"f", "text");
    own_file file;
    file.open_and_assign(path, open_for_test, ec_wrapper::throwing());
    EXPECT_EQ(file.get_path(), path);
    EXPECT_EQ(text_of(file.read_whole_file(4)), "text");
}

TEST(file_open_and_assign, passes_on_what_the_opener_reports) {
    own_file file;
    error_code ec;
    file.open_and_assign(L"f", refuse_to_open, ec);
    EXPECT_EQ(ec, windows_error(ERROR_BUSY));
    EXPECT_FALSE(file.is_open());
    EXPECT_TRUE(file.get_path().empty());
    const thrown failure =
        thrown_by([&] { file.open_and_assign(L"f", refuse_to_open, ec_wrapper::throwing()); });
    EXPECT_EQ(failure.code, windows_error(ERROR_BUSY));
    EXPECT_THAT(failure.text, StartsWith("refused: "));
}

} // namespace
