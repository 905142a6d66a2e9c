#include <QVSharedSupport/file.h>

#include "file_helpers.h"
#include "temporary_folder.h"

#include <string>
#include <type_traits>

namespace {

using boost::system::error_code;

constexpr DWORD share_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

template <class Mode>
class sharing : public testing::Test {
protected:
    static constexpr bool reads = std::is_same_v<Mode, modes::reading>;

    sharing() : path(folder.path(L"shared")) {
        if (reads) folder.make(L"shared", "x");
    }

    /// What opening the file as anybody would gives: 0 or an error of Windows.
    DWORD open_again(DWORD access, DWORD share = share_all) const {
        const HANDLE handle = open_bare(path, access, OPEN_EXISTING, share);
        if (handle == INVALID_HANDLE_VALUE) return GetLastError();
        CloseHandle(handle);
        return 0;
    }

    template <class Other>
    error_code open_here_again() const {
        error_code ec;
        const bool opened = Other::open(path, ec).is_open();
        EXPECT_NE(opened, ec.failed());
        return ec;
    }

    const temporary_folder folder;
    const QV::filesystem::path path;
};
TYPED_TEST_SUITE(sharing, modes::all);

TYPED_TEST(sharing, lets_everybody_read) {
    const auto file = TypeParam::open(this->path);
    EXPECT_EQ(this->open_again(GENERIC_READ), 0U);
    EXPECT_EQ(this->open_again(FILE_READ_ATTRIBUTES), 0U);
}

TYPED_TEST(sharing, lets_nobody_write) {
    const auto file = TypeParam::open(this->path);
    EXPECT_EQ(this->open_again(GENERIC_WRITE), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(this->open_again(FILE_WRITE_DATA), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(this->open_again(FILE_APPEND_DATA), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(this->open_again(GENERIC_READ | GENERIC_WRITE), DWORD{ERROR_SHARING_VIOLATION});
}

TYPED_TEST(sharing, claims_no_more_than_it_needs) {
    const auto file = TypeParam::open(this->path);
    // Who does not let others do what this file does is kept out; the rest of the claims do not collide.
    const DWORD without_write = this->reads ? 0 : ERROR_SHARING_VIOLATION;
    const DWORD without_read = this->reads ? ERROR_SHARING_VIOLATION : 0;
    EXPECT_EQ(this->open_again(GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE), without_write);
    EXPECT_EQ(this->open_again(GENERIC_READ, FILE_SHARE_WRITE | FILE_SHARE_DELETE), without_read);
    EXPECT_EQ(this->open_again(GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE), 0U);
}

TYPED_TEST(sharing, lets_everybody_delete) {
    const auto file = TypeParam::open(this->path);
    EXPECT_EQ(this->open_again(DELETE), 0U);
    EXPECT_TRUE(DeleteFileW(this->path.c_str())) << GetLastError();
}

TYPED_TEST(sharing, lets_everybody_rename) {
    const auto target = this->folder.path(L"renamed");
    {
        const auto file = TypeParam::open(this->path);
        EXPECT_TRUE(MoveFileW(this->path.c_str(), target.c_str())) << GetLastError();
        EXPECT_EQ(file.get_path(), this->path) << "the path is the one that was given";
    }
    EXPECT_EQ(this->folder.read(L"renamed"), this->reads ? "x" : "");
}

TYPED_TEST(sharing, keeps_the_other_modes_out) {
    auto file = TypeParam::open(this->path);
    if constexpr (!std::is_same_v<TypeParam, modes::reading>) write(file, 0, "x");
    const error_code violation = windows_error(ERROR_SHARING_VIOLATION);
    EXPECT_EQ(this->template open_here_again<modes::reading>(), this->reads ? error_code() : violation);
    EXPECT_EQ(this->template open_here_again<modes::creating>(), windows_error(ERROR_FILE_EXISTS));
    EXPECT_EQ(this->template open_here_again<modes::appending>(), violation);
    EXPECT_EQ(this->template open_here_again<modes::clobbering>(), violation);
    file.close();
    EXPECT_EQ(this->folder.read(L"shared"), "x") << "what was refused has changed nothing";
    EXPECT_FALSE(this->template open_here_again<modes::appending>().failed()) << "nothing is held any more";
}

} // namespace
