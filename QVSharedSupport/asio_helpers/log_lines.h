#pragma once

#include <QVSharedSupport/plist_message.h>

#include "stream_log.h"

#include <boost/asio/error.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <memory>
#include <source_location>
#include <string_view>
#include <utility>

namespace QV::asio_helpers {

/// The longest line of a child's diagnostic output that is kept together: a child that never ends its line
/// must not take the memory of its parent. A longer line is logged in pieces of this length.
inline constexpr std::size_t longest_logged_line = std::size_t{16} * 1024 * 1024;

/// Reads `stream` to its end and logs every line at level 0 as "{}: Process err log: {}".
///
/// Lines of nothing but white space are left out; any other is logged whole, without its line feed. Bytes
/// after the last line feed count as a line when the stream ends. The end of the stream, and being cancelled,
/// is quiet; another failure is logged at level 4. The operation owns the stream and runs on its executor; it
/// ends with the stream.
template <class Stream>
class line_logger : public std::enable_shared_from_this<line_logger<Stream>> {
public:
    line_logger(Stream stream, const char* signature, std::size_t longest_line)
        : stream_(std::move(stream)), buffer_(longest_line), signature_(signature) {}

    void read() {
        boost::asio::async_read_until(stream_, buffer_, '\n',
                                      [self = this->shared_from_this()](const auto& ec, std::size_t length) {
                                          self->handle(ec, length);
                                      });
    }

private:
    void handle(const boost::system::error_code& ec, std::size_t length) {
        if (!ec) {
            log(length - 1);
            buffer_.consume(length);
            return read();
        }
        log(buffer_.size());
        buffer_.consume(buffer_.size());
        // The buffer is full and holds no line feed.
        if (ec == boost::asio::error::not_found) return read();
        if (!is_end_of_stream(ec) && ec != boost::asio::error::operation_aborted)
            log_stream(Logging::log_level::error, "{}: Reading the process err log failed: {}", signature_,
                       describe(ec));
    }

    void log(std::size_t length) const {
        const std::string_view line(static_cast<const char*>(buffer_.data().data()), length);
        const bool blank = std::all_of(line.begin(), line.end(), [](char c) {
            return std::isspace(static_cast<unsigned char>(c)) != 0;
        });
        if (!blank) log_stream(Logging::log_level::trace, "{}: Process err log: {}", signature_, line);
    }

    Stream stream_;
    boost::asio::streambuf buffer_;
    const char* signature_;
};

/// Starts logging the lines of `stream`, in the name of the operation `signature`, which must be a literal.
/// @throws std::bad_alloc
template <class Stream>
void async_log_lines(Stream stream, const char* signature, std::size_t longest_line = longest_logged_line) {
    std::make_shared<line_logger<Stream>>(std::move(stream), signature, longest_line)->read();
}

} // namespace QV::asio_helpers
