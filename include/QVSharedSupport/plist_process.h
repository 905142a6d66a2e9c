#pragma once

#include <QVSharedSupport/export.h>
#include <QVSharedSupport/oneshot_function.h>
#include <QVSharedSupport/piped_process.h>
#include <QVSharedSupport/plist_message.h>
#include <QVSharedSupport/plist_stream.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/cancellation_type.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>

#include <concepts>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace QV {

/// A helper program that reports back in XML property lists on its standard output.
///
///     QV::plist_process helper(executor, path, {"--restore"});
///     while (auto message = co_await helper.async_read_all(boost::asio::use_awaitable))
///         show(message->type, message->value);
///     helper.wait();
///     std::optional<int> code = helper.get_error_code();
///
/// Each property list is a dictionary with a string "Type" and perhaps a "Value". The first read also starts
/// copying the helper's standard error to the log ("Global.Streams", level 0), line by line, on the executor;
/// that goes on by itself until the helper closes it, even beyond the life of this object. Until the first
/// read nothing is read at all, and a talkative helper waits. Nothing is ever written to the helper.
///
/// Thread safety: one thread at a time; an outstanding asynchronous read on the executor's threads does not
/// count. Lifetime: the executor's context must outlive the object. Destroying or closing it, or moving it,
/// while a read is outstanding is safe on every executor. Destruction lets the read complete with
/// `operation_aborted`; a move takes it along. A handler may destroy the object it was given to. Blocking:
/// destruction, `close()` and move assignment wait until the helper has ended.
class QV_EXPORT plist_process {
public:
    using executor_type = boost::asio::any_io_executor;
    using message_type = qvamdrecoverytool::message_type;
    /// What `async_read_all` calls.
    using read_handler = oneshot_function<void(boost::system::error_code, std::optional<message_type>)>;

    /// No helper. Reads fail with `bad_descriptor`.
    explicit plist_process(executor_type executor);
    /// Starts a helper. @throws as `piped_process`
    plist_process(executor_type executor, piped_process::options options);
    /// Starts `path` with `arguments`. @throws as `piped_process`
    plist_process(executor_type executor, filesystem::path path, std::vector<std::string> arguments);
    /// Leaves `other` without a helper.
    plist_process(plist_process&& other) noexcept;
    /// Ends a helper already held, aborting its read, then takes over. @throws as `process_handle::close()`
    plist_process& operator=(plist_process&& other);
    /// Aborts a read and ends the helper: it is killed if it still runs, and waited for.
    /// @throws as `~process_handle()`
    ~plist_process() noexcept(false);

    /// Blocks until the helper closes its output, and returns all messages.
    ///
    /// It ends early, with the messages so far, at output that is not such a message; more can be read after
    /// it. Bytes after the last "</plist>" are dropped. The executor must be running on another thread
    /// meanwhile, or a helper that fills its standard error waits for ever.
    /// @throws boost::system::system_error "read_until" when reading fails otherwise than by the end of the
    /// output
    std::vector<message_type> read_all();
    /// The same, but a failure is put in `ec`, and the messages before it are returned. Output that is not
    /// even a property list with a dictionary is not logged at level 5.
    std::vector<message_type> read_all(boost::system::error_code& ec);

    /// Reads the next message without blocking; call it again for the one after.
    ///
    /// The handler is called exactly once, on the executor, never before this returns: with the message; with
    /// success and nothing at the end of the output or for output that is no message; with the error and
    /// nothing otherwise.
    void async_read_all(read_handler handler);

    /// The same for any Asio completion token: `use_awaitable`, `use_future`, `deferred`, a function object.
    /// The handler is called on its associated executor, and its cancellation slot cancels the read.
    template <class Token>
    requires(!std::same_as<std::remove_cvref_t<Token>, read_handler>) auto async_read_all(Token&& token) {
        return boost::asio::async_initiate<Token,
                                           void(boost::system::error_code, std::optional<message_type>)>(
            read_initiation<&plist_process::start_read_all>{this}, token);
    }

    /// Reads one message without blocking, and tells apart how there may be none.
    ///
    /// The handler is called exactly once, on the executor, never before this returns: with the message; or
    /// with an error equal to `QV::errc::eof` at the end of the output; or with `ErrorCode::FailedToParse`
    /// for output that is no message: a property list without a string "Type", after which reading may go on,
    /// or, once, other bytes than white space after the last "</plist>"; or with the error of the stream.
    void async_read(read_handler handler);
    /// The same for any Asio completion token, as `async_read_all`.
    template <class Token>
    requires(!std::same_as<std::remove_cvref_t<Token>, read_handler>) auto async_read(Token&& token) {
        return boost::asio::async_initiate<Token,
                                           void(boost::system::error_code, std::optional<message_type>)>(
            read_initiation<&plist_process::start_read>{this}, token);
    }
    /// The same, blocking: the message, empty exactly when `ec` is set.
    std::optional<message_type> read(boost::system::error_code& ec);
    /// The same, blocking. @throws boost::system::system_error "read" with those codes
    message_type read();

    /// Lets an outstanding read complete with `operation_aborted`. What has arrived of a message is kept for
    /// the next.
    void cancel();

    /// Ends the helper, waits for it and closes the process handle. What it has written can still be read.
    /// @throws as `process_handle::close()`
    void close();
    /// Ends the helper with exit code 0; see `process_handle::kill()`.
    void kill();
    /// Blocks until the helper has ended by itself. @throws as `process_handle::wait()`
    void wait();
    /// Completes with `void(boost::system::error_code)` when the helper has ended. Any Asio completion token.
    template <class Token>
    auto async_wait(Token&& token) {
        return process_.process.async_wait(std::forward<Token>(token));
    }

    /// Whether a helper, running or ended, is held.
    [[nodiscard]] bool is_open() const noexcept;
    /// The helper's exit code; empty while it runs. @throws as `process_handle::get_error_code()`
    [[nodiscard]] std::optional<int> get_error_code() const;
    /// The helper's process number; 0 if there is none.
    [[nodiscard]] unsigned long get_pid() const noexcept;
    /// The executor given at construction.
    [[nodiscard]] executor_type get_executor() const noexcept;

private:
    using plist_stream = basic_plist_stream<pipe::stream>;

    void start_read(read_handler handler) { async_read(std::move(handler)); }
    void start_read_all(read_handler handler) { async_read_all(std::move(handler)); }

    // Hands a completion handler of any type to the exported function, which knows only the library's own.
    template <void (plist_process::*start)(read_handler)>
    struct read_initiation {
        template <class Handler>
        void operator()(Handler&& handler) const {
            const auto executor = boost::asio::get_associated_executor(handler, self->get_executor());
            auto slot = boost::asio::get_associated_cancellation_slot(handler);
            // A read that will be refused must not cancel the one that is outstanding.
            if (slot.is_connected() && !self->stream_.is_reading())
                slot.assign(
                    [cancel = self->stream_.canceller()](boost::asio::cancellation_type) { cancel(); });
            (self->*start)(
                read_handler([handler = std::forward<Handler>(handler), slot,
                              work = boost::asio::make_work_guard(executor)](
                                 boost::system::error_code ec, std::optional<message_type> message) mutable {
                    // A cancellation that comes too late must not hit the next read.
                    if (slot.is_connected()) slot.clear();
                    const auto target = work.get_executor();
                    boost::asio::dispatch(
                        target, [handler = std::move(handler), ec, message = std::move(message)]() mutable {
                            std::move(handler)(ec, std::move(message));
                        });
                }));
        }
        plist_process* self;
    };

    static void async_log_all_stderr(pipe::stream stream);
    void start_logging();

    piped_process process_;
    plist_stream stream_;
};

} // namespace QV
