#pragma once

#include <QVSharedSupport/plist_message.h>

#include "stream_log.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/system/errc.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace QV::asio_helpers {

/// The longest line of a child's diagnostic output that is kept together: a child that never ends its line
/// must not take the memory of its parent. A longer line is logged in pieces of this length.
inline constexpr std::size_t longest_logged_line = std::size_t{16} * 1024 * 1024;

inline void log_read_failure(const char* signature, const boost::system::error_code& ec) noexcept {
    log_stream(Logging::log_level::error, "{}: Reading the process err log failed: {}", signature,
               describe(ec));
}

/// Reads `stream` to its end and logs every line at level 0 as "{}: Process err log: {}".
///
/// Lines of nothing but white space are left out; any other is logged whole, without its line feed. Bytes
/// after the last line feed count as a line when the stream ends. The end of the stream, and being cancelled,
/// is quiet; another failure is logged at level 4. Without the memory to keep a line together it is logged in
/// pieces; without the memory to read on, reading ends as by a failure. Neither becomes the failure of
/// whoever runs the executor. The operation owns the stream and runs on its executor; it ends with the
/// stream.
template <class Stream>
class line_logger : public std::enable_shared_from_this<line_logger<Stream>> {
public:
    line_logger(Stream&& stream, const char* signature, std::size_t longest_line) noexcept
        : stream_(std::move(stream)), longest_line_(longest_line), signature_(signature) {}

    void read() noexcept {
        try {
            stream_.async_read_some(
                boost::asio::buffer(arrived_),
                [self = this->shared_from_this()](const boost::system::error_code& ec, std::size_t count) {
                    self->handle(ec, count);
                });
        } catch (...) { // a read that cannot begin for another reason than that says so to its handler
            end(make_error_code(boost::system::errc::not_enough_memory));
        }
    }

private:
    // No bytes and no error is what a child's write of no bytes gives.
    void handle(const boost::system::error_code& ec, std::size_t count) noexcept {
        take({arrived_.data(), count});
        if (ec) return end(ec);
        read();
    }

    void take(std::string_view bytes) noexcept {
        while (!bytes.empty()) {
            const std::string_view room = bytes.substr(0, longest_line_ - line_.size());
            const std::size_t line_feed = room.find('\n');
            add(room.substr(0, line_feed));
            if (line_feed != room.npos || line_.size() == longest_line_) flush();
            bytes.remove_prefix(line_feed == room.npos ? room.size() : line_feed + 1);
        }
    }

    void add(std::string_view bytes) noexcept {
        try {
            line_.append(bytes);
        } catch (const std::bad_alloc&) { // and no other: a line has a limit far from a string's
            flush();
            log(bytes);
        }
    }

    void flush() noexcept {
        log(line_);
        line_.clear();
    }

    void end(const boost::system::error_code& ec) noexcept {
        flush();
        if (!is_end_of_stream(ec) && ec != boost::asio::error::operation_aborted)
            log_read_failure(signature_, ec);
    }

    void log(std::string_view line) const noexcept {
        const bool blank = std::all_of(line.begin(), line.end(), [](char c) {
            return std::isspace(static_cast<unsigned char>(c)) != 0;
        });
        if (!blank) log_stream(Logging::log_level::trace, "{}: Process err log: {}", signature_, line);
    }

    Stream stream_;
    std::array<char, std::size_t{16} * 1024> arrived_;
    std::string line_; // of which no line feed has arrived
    std::size_t longest_line_;
    const char* signature_;
};

/// Starts logging the lines of `stream`, in the name of the operation `signature`, which must be a literal.
/// Without the memory to begin, that is logged, and the stream closes: who only asked for messages gets them.
template <class Stream>
void async_log_lines(Stream stream, const char* signature,
                     std::size_t longest_line = longest_logged_line) noexcept {
    try {
        std::make_shared<line_logger<Stream>>(std::move(stream), signature, longest_line)->read();
    } catch (...) {
        log_read_failure(signature, make_error_code(boost::system::errc::not_enough_memory));
    }
}

} // namespace QV::asio_helpers
