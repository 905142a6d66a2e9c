#pragma once

#include <QVSharedSupport/ec_wrapper.h>
#include <QVSharedSupport/errors.h>
#include <QVSharedSupport/message_buffer.h>
#include <QVSharedSupport/plist_message.h>

#include <CFAdapters/CFAdapters.h>

#include <boost/asio/cancellation_type.hpp>
#include <boost/asio/compose.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <boost/system/system_error.hpp>

#include <concepts>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

namespace QV {

/// A byte stream that carries XML property lists one after another, each ending with "</plist>".
///
/// Owns the stream and the bytes that have arrived. A message is every byte up to and including the next
/// "</plist>"; what lies between two messages, such as a line break, is the beginning of the second.
///
///     QV::basic_plist_stream stream(std::move(pipe));
///     CF::Data bytes;
///     CF::Dictionary message = stream.read(bytes);
///
/// `Stream` is any Asio stream that can be constructed from its executor, moved, cancelled and closed:
/// `windows::basic_stream_handle`, `basic_readable_pipe`, a socket.
///
/// Lifetime: destroying, closing or moving the object while a read is outstanding is safe on every executor.
/// A move takes the read along: it goes on, and completes as if nothing had happened. Destruction and
/// `close()` abort it: the handler is called once, with `operation_aborted`, even if a message had arrived by
/// then. The handler may destroy the object.
///
/// Thread safety: one thread at a time; an outstanding read on the executor's threads does not count. One
/// read at a time: a second one fails with `boost::asio::error::already_started`.
template <class Stream>
class basic_plist_stream {
public:
    using executor_type = typename Stream::executor_type;

    /// Takes the stream over. @throws std::bad_alloc
    explicit basic_plist_stream(Stream stream)
        : executor_(stream.get_executor()), state_(std::make_shared<state>(std::move(stream))) {}
    /// Takes stream, bytes and an outstanding read over; `other` is left as if closed.
    basic_plist_stream(basic_plist_stream&& other) noexcept
        : executor_(other.executor_), state_(std::move(other.state_)) {}
    /// Closes what is held, then takes over as the move constructor does.
    basic_plist_stream& operator=(basic_plist_stream&& other) noexcept {
        if (this != &other) {
            close();
            executor_ = other.executor_;
            state_ = std::move(other.state_);
        }
        return *this;
    }
    /// As `close()`.
    ~basic_plist_stream() { close(); }

    [[nodiscard]] executor_type get_executor() const noexcept { return executor_; }
    /// Whether there is a stream to read.
    [[nodiscard]] bool is_open() const { return state_ && !state_->closed && state_->stream.is_open(); }

    /// Whether a read is outstanding. Until its handler is called, but no longer, another is refused.
    [[nodiscard]] bool is_reading() const {
        if (!state_) return false;
        const std::lock_guard lock(state_->mutex);
        return state_->reading;
    }

    /// Closes the stream and drops the bytes held. An outstanding read completes with `operation_aborted`.
    void close() noexcept {
        if (const std::shared_ptr<state> closing = std::move(state_)) closing->close();
    }
    /// Lets an outstanding read complete with `operation_aborted`; the bytes that have arrived are kept.
    /// Any thread may call it while a read is outstanding.
    void cancel() {
        if (state_) state_->cancel();
    }
    /// What `cancel()` does, as a function that may outlive this object.
    [[nodiscard]] auto canceller() const {
        return [weak = std::weak_ptr<state>(state_)] {
            if (const auto held = weak.lock()) held->cancel();
        };
    }

    /// Blocks until a message is there and parses it; empty if it is not a property list whose root is a
    /// dictionary.
    /// @param message the bytes of the message; empty when none was read
    /// @throws boost::system::system_error "read_until", with `eof` or a broken pipe when the stream has
    /// ended
    CF::Dictionary read(CF::Data& message) {
        return read(message, asio_helpers::ec_wrapper::throwing(),
                    "CF::Dictionary QV::basic_plist_stream::read(CF::Data&)");
    }
    /// The same; a failure is put in `ec`, and gives an empty dictionary.
    CF::Dictionary read(CF::Data& message, boost::system::error_code& ec) {
        return read(message, asio_helpers::ec_wrapper(ec),
                    "CF::Dictionary QV::basic_plist_stream::read(CF::Data&, boost::system::error_code&)");
    }

    /// Reads and parses a message without blocking.
    ///
    /// Completes with `void(boost::system::error_code, CF::Data message, CF::Dictionary)`, the values as
    /// those of `read`; never before this returns. Any Asio completion token. Without the memory to begin it
    /// fails with `not_enough_memory`, or this throws std::bad_alloc; another read may follow.
    template <class Token>
    auto async_read(Token&& token) {
        return boost::asio::async_compose<Token, void(boost::system::error_code, CF::Data, CF::Dictionary)>(
            read_operation(shared_state()), token, executor_);
    }

private:
    struct state {
        explicit state(Stream s) : stream(std::move(s)) {}

        // Begins a read, unless that is an error.
        boost::system::error_code start_read() {
            const std::lock_guard lock(mutex);
            if (reading) return boost::asio::error::already_started;
            if (closed) return boost::asio::error::bad_descriptor;
            reading = true;
            cancelled = false;
            return {};
        }
        // Ends a read; false if its outcome must be "aborted" because the stream was closed meanwhile.
        bool finish_read() noexcept {
            const std::lock_guard lock(mutex);
            reading = false;
            return !closed;
        }
        void cancel() {
            const std::lock_guard lock(mutex);
            cancelled = true;
            boost::system::error_code ignored;
            stream.cancel(ignored);
        }
        void close() noexcept {
            const std::lock_guard lock(mutex);
            closed = true;
            boost::system::error_code ignored;
            if (reading) stream.cancel(ignored);
            stream.close(ignored);
        }

        // Guards what an owner and an outstanding read on other threads both touch: the flags, and the stream
        // while a read is begun, cancelled or closed. Never held while a handler runs or a blocking read
        // waits.
        std::mutex mutex;
        Stream stream;
        message_buffer buffer; // used by the read in progress only
        bool reading = false;
        bool cancelled = false;
        bool closed = false;
    };

    // The log names operations by fixed signatures: the compiler's own would spell out every handler type.

    // Ends a blocking read, also when it throws.
    struct reading_guard {
        ~reading_guard() { held.finish_read(); }
        state& held;
    };

    class read_operation {
    public:
        explicit read_operation(std::shared_ptr<state> state) : state_(std::move(state)) {}

        template <class Self>
        void operator()(Self& self, boost::system::error_code ec = {}, std::size_t count = 0) {
            switch (step_) {
            case step::start:
                error_ = state_->start_read();
                started_ = !error_;
                if (error_ || state_->buffer.has_message()) return finish_later(self);
                return receive(self);
            case step::receive:
                state_->buffer.commit(count);
                if (state_->buffer.has_message()) return finish(self);
                if (!ec) return receive(self);
                error_ = ec;
                return finish(self);
            case step::finish:
                return finish(self);
            }
        }

    private:
        enum class step { start, receive, finish };

        template <class Self>
        void receive(Self& self) {
            const bool is_starting = step_ == step::start;
            const std::shared_ptr<state> held = state_; // `self`, and this with it, is moved away below
            step_ = step::receive;
            try {
                const boost::asio::mutable_buffer room = held->buffer.prepare();
                const std::lock_guard lock(held->mutex);
                // What was cancelled between a read's completion and its handler has no read to cancel.
                if (!held->closed && !held->cancelled &&
                    self.cancelled() == boost::asio::cancellation_type::none) {
                    held->stream.async_read_some(room, std::move(self));
                    return;
                }
                error_ = boost::asio::error::operation_aborted;
            } catch (const std::bad_alloc&) {
                if (!state_) { // the handler has gone with the read that could not begin
                    held->finish_read();
                    throw;
                }
                error_ = make_error_code(boost::system::errc::not_enough_memory);
            } catch (...) {
                held->finish_read();
                throw;
            }
            return is_starting ? finish_later(self) : finish(self);
        }

        // A handler never runs before the call that started the operation has returned.
        template <class Self>
        void finish_later(Self& self) {
            const std::shared_ptr<state> held = state_;
            const bool was_started = started_;
            step_ = step::finish;
            try {
                boost::asio::post(held->stream.get_executor(), std::move(self));
            } catch (...) {
                if (was_started) held->finish_read();
                throw;
            }
        }

        template <class Self>
        void finish(Self& self) {
            CF::Data message;
            CF::Dictionary dictionary;
            try {
                if (!error_) {
                    message = state_->buffer.take_message();
                    dictionary =
                        detail::parse_message(message, "void QV::basic_plist_stream::async_read(handler)");
                } else if (started_ && is_end_of_stream(error_)) {
                    message = state_->buffer.take_rest();
                }
            } catch (const std::bad_alloc&) {
                error_ = make_error_code(boost::system::errc::not_enough_memory);
            }
            if (started_ && !state_->finish_read()) {
                error_ = boost::asio::error::operation_aborted;
                message.reset();
                dictionary.reset();
            }
            state_.reset();
            self.complete(error_, std::move(message), std::move(dictionary));
        }

        std::shared_ptr<state> state_;
        step step_ = step::start;
        bool started_ = false;
        boost::system::error_code error_;
    };

    CF::Dictionary read(CF::Data& message, asio_helpers::ec_wrapper ec, const char* signature) {
        message.reset();
        const std::shared_ptr<state> held = shared_state();
        boost::system::error_code error = held->start_read();
        if (!error) {
            const reading_guard guard{*held};
            while (!error && !held->buffer.has_message())
                held->buffer.commit(held->stream.read_some(held->buffer.prepare(), error));
            if (held->buffer.has_message()) {
                error.clear();
                message = held->buffer.take_message();
            } else if (is_end_of_stream(error)) {
                message = held->buffer.take_rest();
            }
        }
        ec.report(error, "read_until");
        return error ? CF::Dictionary() : detail::parse_message(message, signature);
    }

    // A closed or moved-from object behaves as one whose stream is closed.
    std::shared_ptr<state> shared_state() const {
        if (state_) return state_;
        auto closed = std::make_shared<state>(Stream(executor_));
        closed->closed = true;
        return closed;
    }

    executor_type executor_;
    std::shared_ptr<state> state_;
};

/// Reads typed CoreFoundation values from a `basic_plist_stream`, which it refers to.
template <class PlistStream>
class basic_cf_stream {
public:
    explicit basic_cf_stream(PlistStream& next) noexcept : next_(next) {}

    /// Completes with `void(boost::system::error_code, T)`. A message that is not of the type, and a failed
    /// read, gives an empty value and is logged at level 4. Any Asio completion token. The stream may be
    /// destroyed meanwhile.
    template <std::same_as<CF::Dictionary> T, class Token>
    auto async_read(Token&& token) {
        return boost::asio::async_compose<Token, void(boost::system::error_code, T)>(operation{&next_}, token,
                                                                                     next_.get_executor());
    }

private:
    struct operation {
        template <class Self>
        void operator()(Self& self) {
            PlistStream& next = *next_;
            next.async_read(std::move(self));
        }
        template <class Self>
        void operator()(Self& self, boost::system::error_code ec, const CF::Data& data,
                        CF::Dictionary value) {
            if (!value)
                detail::log_unexpected_data("void QV::basic_cf_stream::async_read<CF::Dictionary>(handler)",
                                            ec, data);
            self.complete(ec, std::move(value));
        }

        PlistStream* next_; // only used to begin the read
    };

    PlistStream& next_;
};

/// Reads a helper's messages from a `basic_plist_stream`, which it refers to.
template <class PlistStream>
class plist_process_stream {
public:
    using message_type = qvamdrecoverytool::message_type;

    explicit plist_process_stream(PlistStream& next) noexcept : next_(next) {}

    /// Blocks until the end of the stream, or until something that is not a message.
    ///
    /// At a property list that is no message, the messages before it are returned; more can be read after it.
    /// @throws boost::system::system_error "read_until" when reading fails; the end of the stream is no
    /// failure
    std::vector<message_type> read_all() {
        return read_all(asio_helpers::ec_wrapper::throwing(), unreadable::extract);
    }
    /// The same; a failure is put in `ec`, and the messages before it are returned. Data that is not even a
    /// dictionary ends the reading without the log line that the throwing form writes.
    std::vector<message_type> read_all(boost::system::error_code& ec) {
        return read_all(asio_helpers::ec_wrapper(ec), unreadable::stop);
    }

    /// Completes with `void(boost::system::error_code, std::optional<message_type>)`: a message; or nothing
    /// with success, at the end of the stream or for what is no message; or nothing with the error. Any Asio
    /// completion token. The stream may be destroyed meanwhile.
    template <class Token>
    auto async_read_(Token&& token) {
        return boost::asio::async_compose<Token,
                                          void(boost::system::error_code, std::optional<message_type>)>(
            operation{&next_}, token, next_.get_executor());
    }

    /// Reads one message, and tells apart how there may be none.
    ///
    /// `eof`, or an error equal to `QV::errc::eof`, is the end of the stream. `ErrorCode::FailedToParse` is
    /// output that is no message: a property list without a string "Type", after which reading may go on, or,
    /// once, other bytes than white space after the last "</plist>". Any other error is the stream's.
    /// @return the message; empty exactly when `ec` is set
    std::optional<message_type> read(boost::system::error_code& ec) {
        CF::Data bytes;
        const CF::Dictionary dictionary = next_.read(bytes, ec);
        return judge(ec, bytes, dictionary, "std::optional QV::plist_process_stream::read(error_code&)");
    }
    /// The same, without blocking. Completes with `void(boost::system::error_code,
    /// std::optional<message_type>)`. Any Asio completion token. The stream may be destroyed meanwhile.
    template <class Token>
    auto async_read(Token&& token) {
        return boost::asio::async_compose<Token,
                                          void(boost::system::error_code, std::optional<message_type>)>(
            strict_operation{&next_}, token, next_.get_executor());
    }

private:
    // What a read of the stream amounts to: a message, or the reason, in `ec`, why there is none.
    static std::optional<message_type> judge(boost::system::error_code& ec, const CF::Data& bytes,
                                             const CF::Dictionary& dictionary,
                                             const char* signature) noexcept {
        if (ec && !(is_end_of_stream(ec) && has_text(bytes))) return std::nullopt;
        if (!dictionary) detail::log_unexpected_data(signature, ec, bytes);
        std::optional<message_type> message = dictionary ? make_message(dictionary) : std::nullopt;
        ec.clear();
        if (!message) ec = SharedSupport::ErrorCode::FailedToParse;
        return message;
    }

    struct strict_operation {
        template <class Self>
        void operator()(Self& self) {
            PlistStream& next = *next_;
            next.async_read(std::move(self));
        }
        template <class Self>
        void operator()(Self& self, boost::system::error_code ec, const CF::Data& bytes,
                        const CF::Dictionary& dictionary) {
            auto message = judge(ec, bytes, dictionary, "void QV::plist_process_stream::async_read(handler)");
            self.complete(ec, std::move(message));
        }

        PlistStream* next_; // only used to begin the read
    };

    // What happens to data that is not a dictionary.
    enum class unreadable { extract, stop };

    struct operation {
        template <class Self>
        void operator()(Self& self) {
            PlistStream& next = *next_;
            basic_cf_stream<PlistStream>(next).template async_read<CF::Dictionary>(std::move(self));
        }
        template <class Self>
        void operator()(Self& self, boost::system::error_code ec, const CF::Dictionary& dictionary) {
            if (is_end_of_stream(ec)) ec.clear();
            self.complete(ec, make_message(dictionary));
        }

        PlistStream* next_; // only used to begin the read
    };

    std::vector<message_type> read_all(asio_helpers::ec_wrapper ec, unreadable policy) {
        std::vector<message_type> messages;
        for (;;) {
            CF::Data bytes;
            boost::system::error_code error;
            const CF::Dictionary dictionary = next_.read(bytes, error);
            if (error) {
                if (!is_end_of_stream(error)) ec.report(error, "read_until");
                return messages;
            }
            if (!dictionary && policy == unreadable::stop) return messages;
            auto message = make_message(dictionary);
            if (!message) return messages;
            messages.push_back(std::move(*message));
        }
    }

    PlistStream& next_;
};

} // namespace QV
