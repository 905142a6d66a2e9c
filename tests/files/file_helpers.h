#pragma once

#include <QVSharedSupport/file.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write_at.hpp>
#include <boost/system/system_error.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline boost::system::error_code windows_error(DWORD value) {
    return {static_cast<int>(value), boost::system::system_category()};
}

inline std::string text_of(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// What a throwing call threw; no code if it threw nothing.
struct thrown {
    boost::system::error_code code;
    std::string text;
};

template <class Function>
thrown thrown_by(Function function) {
    try {
        function();
    } catch (const boost::system::system_error& failure) {
        return {failure.code(), failure.what()};
    }
    return {};
}

/// Writes the whole of `text`.
inline void write(QV::file::writable_file& file, std::uint64_t offset, std::string_view text) {
    boost::asio::write_at(file.get_handle(), offset, boost::asio::buffer(text));
}

/// What `CreateFileW` gives for a file that others may do anything with. The caller closes it.
inline HANDLE open_bare(const QV::filesystem::path& path, DWORD access, DWORD disposition = OPEN_EXISTING,
                        DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE) {
    return CreateFileW(path.c_str(), access, share, nullptr, disposition, FILE_FLAG_OVERLAPPED, nullptr);
}

/// The ways to open a file, each with both of its forms, and the text that its failure begins with.
namespace modes {

struct reading {
    static auto open(const QV::filesystem::path& path, auto&... ec) {
        return QV::file::readable_file(path, ec...);
    }
    static std::string text(const QV::filesystem::path& path) {
        return "when opening file '" + path.string() + "' for reading: ";
    }
};

struct creating {
    static auto open(const QV::filesystem::path& path, auto&... ec) {
        return QV::file::writable_file::create_new(path, ec...);
    }
    static std::string text(const QV::filesystem::path& path) {
        return "when creating new file '" + path.string() + "' for writing: ";
    }
};

struct appending {
    static auto open(const QV::filesystem::path& path, auto&... ec) {
        return QV::file::writable_file::open_append(path, ec...);
    }
    static std::string text(const QV::filesystem::path& path) {
        return "when opening file '" + path.string() + "' for appending: ";
    }
};

struct clobbering {
    static auto open(const QV::filesystem::path& path, auto&... ec) {
        return QV::file::writable_file::open_clobber(path, ec...);
    }
    static std::string text(const QV::filesystem::path& path) {
        return "when clobbering file '" + path.string() + "' for writing: ";
    }
};

using all = testing::Types<reading, creating, appending, clobbering>;
using writing = testing::Types<creating, appending, clobbering>;

/// Both forms of opening `path` must fail with that code, and leave a closed file.
template <class Mode>
void expect_refused(const QV::filesystem::path& path, DWORD code) {
    boost::system::error_code ec;
    const auto closed = Mode::open(path, ec);
    EXPECT_EQ(ec, windows_error(code)) << ec.message();
    EXPECT_FALSE(closed.is_open());
    EXPECT_TRUE(closed.get_path().empty());
    const thrown failure = thrown_by([&] { (void)Mode::open(path); });
    EXPECT_EQ(failure.code, windows_error(code)) << failure.text;
    // As far as a text goes that ends at a NUL.
    EXPECT_THAT(failure.text, testing::StartsWith(Mode::text(path).c_str()));
}

} // namespace modes
