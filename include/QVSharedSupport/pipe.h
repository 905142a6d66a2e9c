#pragma once

#include <QVSharedSupport/export.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/windows/basic_stream_handle.hpp>

#include <utility>

/// One-way pipes to and from a child process.
///
/// Each pipe is a named pipe with a random name, one instance and no remote clients. Both ends are opened for
/// overlapped use, neither is inheritable. The parent's end is an Asio stream, the child's end a plain handle
/// that `QV::piped_process` makes inheritable for the moment of the spawn.
///
///     QV::pipe::read_pipe pipe = QV::pipe::make_read_pipe(executor);
///     // hand pipe.write_end.get() to a child, then:
///     pipe.write_end.destroy(); // or the read never sees the end
///     boost::asio::async_read(pipe.read_end, ...);
///
/// Thread safety: one thread at a time for each object. Nothing here blocks.
namespace QV::pipe {

/// The parent's end of a pipe: an Asio stream on the executor it was made with.
using stream = boost::asio::windows::basic_stream_handle<boost::asio::any_io_executor>;

/// Owns one Windows `HANDLE`. Empty is null.
class QV_EXPORT handle {
public:
    handle() noexcept = default;
    /// Takes ownership of `native`, which may be null.
    explicit handle(void* native) noexcept : native_(native) {}
    handle(handle&& other) noexcept : native_(other.release()) {}
    handle& operator=(handle&& other) noexcept;
    handle(const handle&) = delete;
    handle& operator=(const handle&) = delete;
    /// As `destroy()`.
    ~handle();

    /// Closes the handle, if there is one, and leaves null. A failure to close is ignored: there is nothing
    /// left to do.
    void destroy() noexcept;

    /// The handle, still owned here.
    [[nodiscard]] void* get() const noexcept { return native_; }
    /// Gives the handle up: the caller closes it from now on.
    [[nodiscard]] void* release() noexcept { return std::exchange(native_, nullptr); }
    /// Whether a handle is owned.
    [[nodiscard]] explicit operator bool() const noexcept { return native_ != nullptr; }

private:
    void* native_ = nullptr;
};

/// Both ends of a pipe, owned by nobody yet: the caller closes each with `CloseHandle`.
struct handle_pair {
    void* read_end;
    void* write_end;
};

/// A pipe the parent reads and the child writes.
struct read_pipe {
    stream read_end;
    handle write_end; ///< for the child
};

/// A pipe the parent writes and the child reads.
struct write_pipe {
    handle read_end; ///< for the child
    stream write_end;
};

/// Makes a pipe. The name is not checked for collisions and nothing is retried.
///
/// When the read end cannot be opened, the write end stays open: programs rely on the name staying taken
/// then.
/// @throws QV::win32_error "CreateNamedPipeW" or "CreateFileW"
/// @throws boost::system::system_error when the system has no random numbers to give
QV_EXPORT handle_pair make_handle_pair();

/// Makes a pipe whose read end is a stream on `executor`. @throws as `make_handle_pair()`, and
/// `boost::system::system_error` "assign" when the end cannot become a stream; both ends are closed then
QV_EXPORT read_pipe make_read_pipe(boost::asio::any_io_executor executor);

/// Makes a pipe whose write end is a stream on `executor`. @throws as `make_read_pipe()`
QV_EXPORT write_pipe make_write_pipe(boost::asio::any_io_executor executor);

} // namespace QV::pipe
