#include <QVSharedSupport/file.h>

#include "file_helpers.h"
#include "temporary_folder.h"

#include <iterator>
#include <string>
#include <type_traits>

namespace {

using boost::system::error_code;
using modes::expect_refused;
using QV::file::readable_file;
using QV::file::writable_file;

static_assert(std::is_nothrow_move_constructible_v<readable_file>);
static_assert(std::is_nothrow_move_assignable_v<readable_file>);
static_assert(!std::is_copy_constructible_v<readable_file> && !std::is_copy_assignable_v<readable_file>);
static_assert(std::is_nothrow_move_constructible_v<writable_file>);
static_assert(std::is_nothrow_move_assignable_v<writable_file>);
static_assert(!std::is_copy_constructible_v<writable_file> && !std::is_copy_assignable_v<writable_file>);
static_assert(!std::is_convertible_v<QV::filesystem::path, readable_file>);

template <class Mode>
class opening : public testing::Test {
protected:
    const temporary_folder folder;
};
TYPED_TEST_SUITE(opening, modes::all);

TYPED_TEST(opening, keeps_the_path_as_it_was_given) {
    const auto path = this->folder.path(L"a\\..\\.\\b");
    if (std::is_same_v<TypeParam, modes::reading>) this->folder.make(L"b", "");
    error_code ec = windows_error(ERROR_GEN_FAILURE);
    const auto file = TypeParam::open(path, ec);
    EXPECT_FALSE(ec.failed()) << "a success replaces what was there";
    EXPECT_TRUE(file.is_open());
    EXPECT_EQ(file.get_path().native(), path.native());
}

TYPED_TEST(opening, takes_names_of_any_alphabet) {
    const auto path = this->folder.path(L"\x8BD5 \xD83D\xDCF1 \x00E9 \x03C0");
    if (std::is_same_v<TypeParam, modes::reading>)
        this->folder.make(L"\x8BD5 \xD83D\xDCF1 \x00E9 \x03C0", "");
    EXPECT_TRUE(TypeParam::open(path).is_open());
    EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
}

TYPED_TEST(opening, takes_paths_beyond_260_characters) {
    const std::wstring outer = LR"(\\?\)" + this->folder.root.native() + L"\\" + std::wstring(200, L'a');
    const std::wstring inner = outer + L"\\" + std::wstring(200, L'b');
    ASSERT_TRUE(CreateDirectoryW(outer.c_str(), nullptr)) << GetLastError();
    ASSERT_TRUE(CreateDirectoryW(inner.c_str(), nullptr)) << GetLastError();
    const QV::filesystem::path path(inner + L"\\" + std::wstring(200, L'c'));
    if (std::is_same_v<TypeParam, modes::reading>) writable_file::create_new(path).close();
    {
        const auto file = TypeParam::open(path);
        EXPECT_TRUE(file.is_open());
        EXPECT_EQ(file.get_path(), path);
    }
    EXPECT_TRUE(DeleteFileW(path.c_str()));
    expect_refused<TypeParam>(inner + L"\\missing\\x", ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(RemoveDirectoryW(inner.c_str()));
    EXPECT_TRUE(RemoveDirectoryW(outer.c_str()));
}

TYPED_TEST(opening, refuses_a_missing_folder) {
    expect_refused<TypeParam>(this->folder.path(L"missing\\file"), ERROR_PATH_NOT_FOUND);
}

TYPED_TEST(opening, refuses_a_folder) {
    constexpr bool makes = std::is_same_v<TypeParam, modes::creating>;
    expect_refused<TypeParam>(this->folder.root.native(), makes ? ERROR_FILE_EXISTS : ERROR_ACCESS_DENIED);
}

TYPED_TEST(opening, refuses_names_that_cannot_be) {
    expect_refused<TypeParam>(this->folder.path(L"a|b?"), ERROR_INVALID_NAME);
    expect_refused<TypeParam>(QV::filesystem::path(), ERROR_PATH_NOT_FOUND);
}

TYPED_TEST(opening, does_not_cut_a_name_at_a_nul) {
    this->folder.make(L"cut", "kept");
    expect_refused<TypeParam>(this->folder.path(std::wstring(L"cut\0rest", 8)), ERROR_INVALID_NAME);
    EXPECT_EQ(this->folder.read(L"cut"), "kept");
}

TYPED_TEST(opening, refuses_what_the_console_refuses) {
    const HANDLE bare = open_bare(L"CON", GENERIC_READ);
    const DWORD failure = GetLastError();
    if (bare != INVALID_HANDLE_VALUE) {
        CloseHandle(bare);
        GTEST_SKIP() << "this process has a console";
    }
    expect_refused<TypeParam>(L"CON", failure);
}

TYPED_TEST(opening, takes_the_null_device) {
    for (const wchar_t* const name : {L"NUL", L"\\\\.\\NUL"}) {
        const auto file = TypeParam::open(name);
        EXPECT_TRUE(file.is_open());
        EXPECT_EQ(file.get_path(), name);
    }
}

TYPED_TEST(opening, refuses_a_device_that_is_not_there) {
    expect_refused<TypeParam>(LR"(\\.\QV no such device)", ERROR_FILE_NOT_FOUND);
}

/// A file of which nobody else may do anything.
TYPED_TEST(opening, refuses_a_file_that_is_not_shared) {
    if (std::is_same_v<TypeParam, modes::creating>) GTEST_SKIP() << "a file that is there is refused anyway";
    const auto path = this->folder.make(L"held", "x");
    const HANDLE holder = open_bare(path, GENERIC_READ, OPEN_EXISTING, 0);
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    expect_refused<TypeParam>(path, ERROR_SHARING_VIOLATION);
    CloseHandle(holder);
    EXPECT_EQ(this->folder.read(L"held"), "x");
    EXPECT_TRUE(TypeParam::open(path).is_open());
}

template <class Mode>
class opening_to_write : public testing::Test {
protected:
    const temporary_folder folder;
};
TYPED_TEST_SUITE(opening_to_write, modes::writing);

TYPED_TEST(opening_to_write, refuses_a_file_that_may_only_be_read) {
    const auto path = this->folder.make(L"read only", "x");
    ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    const HANDLE bare = open_bare(path, GENERIC_WRITE);
    const bool enforced = bare == INVALID_HANDLE_VALUE;
    if (!enforced) CloseHandle(bare);
    if (enforced || std::is_same_v<TypeParam, modes::creating>)
        expect_refused<TypeParam>(path, std::is_same_v<TypeParam, modes::creating> ? ERROR_FILE_EXISTS
                                                                                   : ERROR_ACCESS_DENIED);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    if (!enforced) GTEST_SKIP() << "this system lets this user write to it all the same";
}

TEST(readable_file, refuses_a_missing_file) {
    const temporary_folder folder;
    expect_refused<modes::reading>(folder.path(L"missing"), ERROR_FILE_NOT_FOUND);
}

TEST(readable_file, names_the_file_in_the_default_conversion) {
    // What the code page has not shows as the file-system library converts it, and hides nothing else.
    const temporary_folder folder;
    const auto path = folder.path(L"missing \x8BD5");
    expect_refused<modes::reading>(path, ERROR_FILE_NOT_FOUND);
    expect_refused<modes::reading>(folder.path(L"missing \x00E9"), ERROR_FILE_NOT_FOUND);
}

TEST(writable_file, makes_a_file_that_is_not_there) {
    const temporary_folder folder;
    EXPECT_TRUE(modes::creating::open(folder.path(L"new")).is_open());
    EXPECT_TRUE(modes::appending::open(folder.path(L"append")).is_open());
    EXPECT_TRUE(modes::clobbering::open(folder.path(L"clobber")).is_open());
    for (const wchar_t* const name : {L"new", L"append", L"clobber"})
        EXPECT_TRUE(std::filesystem::exists(folder.root / name));
    error_code ec;
    EXPECT_TRUE(modes::creating::open(folder.path(L"new 2"), ec).is_open() && !ec);
    EXPECT_TRUE(modes::appending::open(folder.path(L"append 2"), ec).is_open() && !ec);
    EXPECT_TRUE(modes::clobbering::open(folder.path(L"clobber 2"), ec).is_open() && !ec);
}

TEST(writable_file, creates_only_what_is_not_there) {
    const temporary_folder folder;
    const auto path = folder.make(L"there", "kept");
    expect_refused<modes::creating>(path, ERROR_FILE_EXISTS);
    EXPECT_EQ(folder.read(L"there"), "kept");
}

TEST(writable_file, empties_what_it_clobbers) {
    const temporary_folder folder;
    writable_file file = writable_file::open_clobber(folder.make(L"there", "lost"));
    EXPECT_EQ(std::filesystem::file_size(folder.root / L"there"), 0U);
    write(file, 0, "new");
    file.close();
    EXPECT_EQ(folder.read(L"there"), "new");
}

} // namespace
