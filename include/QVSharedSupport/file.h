/// Files opened for a declared purpose, each of them an Asio object.
///
///     QV::file::readable_file settings(path);
///     const std::vector<std::byte> bytes = settings.read_whole_file(1 << 20);
///
///     auto log = QV::file::writable_file::open_append(path);
///     boost::asio::write_at(log.get_handle(), 0, boost::asio::buffer(line)); // lands at the end
///
/// Every operation that can fail comes in two forms. One throws `boost::system::system_error` with the code
/// and a text that names the file, the other puts the code alone into the caller's `error_code` and throws
/// nothing but `std::bad_alloc`. The codes are those of Windows, in the system category, and those of
/// `QV::file::errc`.
///
/// There is one exception to both: the first file of a process, closed or open, makes what Asio needs for all
/// of them, a completion port, a thread and events. Where the system has none left, the constructor or
/// opening function throws Asio's `boost::system::system_error`, also in the form with an `error_code`.
///
/// While a file is open here, nobody can open it for writing; reading, renaming and deleting it stay
/// possible. A path that holds a NUL is refused with ERROR_INVALID_NAME, not cut there.
///
/// Thread safety: one thread at a time for each file. Blocking: opening, sizes and whole-file reads block as
/// long as the disk takes. Lifetime: a file may be closed, moved or destroyed while an asynchronous operation
/// on it is under way; the operation's handler is called all the same, with `operation_aborted` unless the
/// operation had ended by then. To move a file leaves its operations under way.
#pragma once

#include <QVSharedSupport/ec_wrapper.h>
#include <QVSharedSupport/export.h>
#include <QVSharedSupport/filesystem.h>
#include <QVSharedSupport/non_async_executor.h>

#include <QVLog/logger.h>

#include <boost/asio/windows/basic_random_access_handle.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <type_traits>
#include <vector>

namespace QV::file {

/// What can go wrong with a file besides the system's own errors. Converts to `boost::system::error_code`.
enum class errc : int {
    success = 0,    ///< "Success"
    too_large = 1,  ///< "File is too large to fit into the buffer": it is longer than the caller allows.
    no_memory = 2,  ///< "Could not allocate buffer for file"
    not_locked = 3, ///< "Could not obtain file lock": for callers that lock files; nothing here reports it.
};

/// The category of `errc`, named "QV::file". By default 1 and 2 amount to `not_enough_memory`, 3 to
/// `operation_would_block`.
QV_EXPORT const boost::system::error_category& error_category() noexcept;
/// The code of category "QV::file" with the value of `code`.
QV_EXPORT boost::system::error_code make_error_code(errc code) noexcept;

/// The logger "QV::file". @throws std::bad_alloc
QV_EXPORT Logging::v2::logger get_logger();

/// The Asio object of a file: `read_some_at`, `write_some_at` and their asynchronous forms. Handlers without
/// an executor of their own run on a thread of Asio's.
using handle_type = boost::asio::windows::basic_random_access_handle<non_async_executor>;

/// What all files have: a path, and a handle while they are open.
class base {
public:
    base(const base&) = delete;
    base& operator=(const base&) = delete;

    /// The path that the file was opened with, as it was given; empty if it never was.
    [[nodiscard]] const filesystem::path& get_path() const noexcept { return path_; }
    /// Whether there is a handle.
    [[nodiscard]] QV_EXPORT bool is_open() const noexcept;
    /// The Asio object, for reading and writing at offsets. It stays this file's.
    [[nodiscard]] handle_type& get_handle() noexcept { return handle_; }

protected:
    /// Opens the file and gives its handle, or `INVALID_HANDLE_VALUE` after reporting why not.
    using opener = void* (*)(const boost::filesystem::path& path, asio_helpers::ec_wrapper ec);

    /// Closed.
    QV_EXPORT base();
    /// Takes the file over; `other` is closed then.
    QV_EXPORT base(base&& other) noexcept;
    /// Closes this file, ignoring a failure to, and takes the other over, which is closed then.
    QV_EXPORT base& operator=(base&& other) noexcept;
    QV_EXPORT ~base();

    /// Binds an open handle to Asio and stores the path. The handle is this file's then; it is closed if that
    /// fails. Reports Asio's "assign" error.
    QV_EXPORT void assign(const filesystem::path& path, void* native_handle, asio_helpers::ec_wrapper ec);
    /// Calls `open` and, unless that fails, `assign`.
    QV_EXPORT void open_and_assign(const filesystem::path& path, opener open, asio_helpers::ec_wrapper ec);
    /// Closes the handle, if there is one; there is none afterwards, even if closing fails.
    /// @throws boost::system::system_error "close"
    QV_EXPORT void close_handle();

private:
    filesystem::path path_;
    handle_type handle_;
};

/// A file that can be read.
class readable_file : public base {
public:
    /// Closed.
    QV_EXPORT readable_file();
    /// Opens an existing file. Reading it from the start to the end is what the system is told to expect.
    /// @throws boost::system::system_error "when opening file 'PATH' for reading"
    QV_EXPORT explicit readable_file(const filesystem::path& path);
    /// The same; closed if `ec` has failed.
    QV_EXPORT readable_file(const filesystem::path& path, boost::system::error_code& ec);
    QV_EXPORT readable_file(readable_file&& other) noexcept;
    QV_EXPORT readable_file& operator=(readable_file&& other) noexcept;
    QV_EXPORT ~readable_file();

    /// Closes the file; nothing happens if it is closed. @throws boost::system::system_error "close"; it is
    /// closed all the same
    QV_EXPORT void close();

    /// The size in bytes, as it is now. @throws boost::system::system_error "when getting size of file
    /// 'PATH'"
    QV_EXPORT unsigned long long get_total_size();
    /// The same; 0 if `ec` has failed.
    QV_EXPORT unsigned long long get_total_size(boost::system::error_code& ec);

    /// The whole contents, if there are at most `max_size` bytes: as many as the file has when this begins. A
    /// file that grows meanwhile is read up to there, one that shrinks is an error.
    /// @throws boost::system::system_error as `get_total_size()`;
    ///     `errc::too_large` "'PATH' is N bytes (max size is N bytes)", and nothing has been read;
    ///     `errc::no_memory` "while allocating N bytes for 'PATH': " and the reason;
    ///     "read" with the system's error, or `boost::asio::error::eof` if the file has shrunk
    QV_EXPORT std::vector<std::byte> read_whole_file(unsigned long long max_size);
    /// The same; empty if `ec` has failed.
    QV_EXPORT std::vector<std::byte> read_whole_file(unsigned long long max_size,
                                                     boost::system::error_code& ec);

private:
    unsigned long long total_size(asio_helpers::ec_wrapper ec);
    std::vector<std::byte> whole_file(unsigned long long max_size, asio_helpers::ec_wrapper ec);
};

/// A file that can be written. The three ways to open one differ in what becomes of a file that is there.
class writable_file : public base {
public:
    /// Closed.
    QV_EXPORT writable_file();
    QV_EXPORT writable_file(writable_file&& other) noexcept;
    QV_EXPORT writable_file& operator=(writable_file&& other) noexcept;
    QV_EXPORT ~writable_file();

    /// Closes the file; nothing happens if it is closed. @throws boost::system::system_error "close"; it is
    /// closed all the same
    QV_EXPORT void close();

    /// Creates a file that must not exist.
    /// @throws boost::system::system_error "when creating new file 'PATH' for writing"
    QV_EXPORT static writable_file create_new(const filesystem::path& path);
    /// The same; closed if `ec` has failed.
    QV_EXPORT static writable_file create_new(const filesystem::path& path, boost::system::error_code& ec);

    /// Opens a file, or creates it, so that every write lands at its end, whatever offset is given.
    /// @throws boost::system::system_error "when opening file 'PATH' for appending"
    QV_EXPORT static writable_file open_append(const filesystem::path& path);
    /// The same; closed if `ec` has failed.
    QV_EXPORT static writable_file open_append(const filesystem::path& path, boost::system::error_code& ec);

    /// Creates a file; what was in one of that name is lost.
    /// @throws boost::system::system_error "when clobbering file 'PATH' for writing"
    QV_EXPORT static writable_file open_clobber(const filesystem::path& path);
    /// The same; closed if `ec` has failed.
    QV_EXPORT static writable_file open_clobber(const filesystem::path& path, boost::system::error_code& ec);

private:
    static writable_file open_with(opener open, const filesystem::path& path, asio_helpers::ec_wrapper ec);
};

} // namespace QV::file

template <>
struct boost::system::is_error_code_enum<QV::file::errc> : std::true_type {};
