#pragma once

#include <QVSharedSupport/export.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/windows/basic_object_handle.hpp>

#include <optional>
#include <utility>

namespace QV {

/// Owns a child process: the child does not outlive it.
///
///     QV::process_handle child(executor, process_information.hProcess);
///     child.wait();
///     std::optional<int> code = child.get_error_code();
///
/// A null handle and `INVALID_HANDLE_VALUE` both mean "no process". Thread safety: one thread at a time for
/// each object. Lifetime: the executor's context must outlive it. Blocking: `close()`, `wait()`, assignment
/// and destruction wait for the child to end, without limit.
class QV_EXPORT process_handle {
public:
    using executor_type = boost::asio::any_io_executor;

    /// Holds no process.
    explicit process_handle(const executor_type& executor);
    /// Takes ownership of the process handle `native`. @throws boost::system::system_error "assign"
    process_handle(const executor_type& executor, void* const& native);
    /// Leaves `other` without a process.
    process_handle(process_handle&& other) noexcept;
    /// Closes what is held, as `close()`, then takes over; leaves `other` without a process. @throws as
    /// `close()`
    process_handle& operator=(process_handle&& other);
    /// Ends a child that is still held, as `close()`.
    ///
    /// @throws as `close()`: that an owned child could not be ended must not go unnoticed. The handle is
    ///     closed all the same. While another exception unwinds the stack the failure is logged at level 4
    ///     instead of thrown.
    ~process_handle() noexcept(false);

    /// Closes what is held, as `close()`, then takes ownership of `native`.
    /// @throws as `close()`, and nothing is taken then; boost::system::system_error "assign"
    void assign(void* native);
    /// Kills the child, waits for its end and closes the handle; nothing if no process is held.
    /// @throws QV::win32_error "TerminateProcess"; boost::system::system_error "wait" or "close"
    void close();
    /// Ends the child with exit code 0. It may still be running on return. Nothing happens if it has ended.
    /// @throws QV::win32_error "TerminateProcess"
    void kill();
    /// Blocks until the child has ended by itself; returns at once if no process is held.
    /// @throws boost::system::system_error "wait"
    void wait();

    /// The child's process number; 0 if no process is held.
    [[nodiscard]] unsigned long get_pid() const noexcept;
    /// The child's exit code; empty while it runs. A child that really exits with 259 reads as running: the
    /// system says "still active" with that number. @throws QV::win32_error "GetExitCodeProcess"
    [[nodiscard]] std::optional<int> get_error_code() const;

    /// Whether a process, running or ended, is held.
    [[nodiscard]] bool is_open() const noexcept;
    /// The handle, still owned here; null if no process is held.
    [[nodiscard]] void* native_handle() const noexcept;
    /// The executor given at construction.
    [[nodiscard]] executor_type get_executor() const { return object_.get_executor(); }

    /// Completes with `void(boost::system::error_code)` when the child has ended. Any Asio completion token.
    ///
    /// Closing, destroying and assigning over the object end the child first: the wait completes either with
    /// success, when that end is seen, or with `operation_aborted`.
    template <class Token>
    auto async_wait(Token&& token) {
        return object_.async_wait(std::forward<Token>(token));
    }

private:
    // Asio reads the handle through a non-const function only.
    mutable boost::asio::windows::basic_object_handle<executor_type> object_;
};

} // namespace QV
