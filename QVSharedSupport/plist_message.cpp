#include <QVSharedSupport/buffer_format.h>
#include <QVSharedSupport/cf_conversions.h>
#include <QVSharedSupport/plist_message.h>

#include "stream_log.h"

#include <CFAdapters/format.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/system/errc.hpp>

#include <algorithm>
#include <cstddef>
#include <source_location>
#include <string_view>

namespace QV {
namespace {

boost::asio::const_buffer as_buffer(const CF::Data& data) noexcept {
    return boost::asio::buffer(data.bytes().data(), data.size());
}

} // namespace

std::optional<qvamdrecoverytool::message_type> make_message(const CF::Dictionary& dictionary) noexcept {
    try {
        if (const auto type = dictionary.get<CF::String>("Type"))
            return qvamdrecoverytool::message_type{from_cf_type_t<std::string>{}(type), dictionary["Value"]};
    } catch (...) { // NOLINT(bugprone-empty-catch): no memory for the text; reported as one that is not there
    }
    log_stream(Logging::log_level::critical, "{}: Message doesn't contain Type: {}",
               std::source_location::current().function_name(), dictionary);
    return std::nullopt;
}

bool is_end_of_stream(const boost::system::error_code& code) noexcept {
    return code == boost::asio::error::eof || code == boost::system::errc::broken_pipe;
}

bool has_text(const CF::Data& data) noexcept {
    return std::ranges::any_of(data.bytes(), [](std::byte byte) {
        return std::string_view(" \t\r\n\v\f").find(std::to_integer<char>(byte)) == std::string_view::npos;
    });
}

namespace detail {

CF::Dictionary parse_message(const CF::Data& message, const char* signature) noexcept {
    log_stream(Logging::log_level::trace, "{}: {:e}", signature, as_buffer(message));
    if (message.empty()) return CF::Dictionary();
    return CF::Dictionary::adopt(CFPropertyListCreateWithData(kCFAllocatorDefault, message.get(),
                                                              kCFPropertyListImmutable, nullptr, nullptr));
}

void log_unexpected_data(const char* signature, const boost::system::error_code& code,
                         const CF::Data& data) noexcept {
    log_stream(Logging::log_level::error, "{}: Data is not type, error ({}): {:em4096}", signature,
               describe(code), as_buffer(data));
}

} // namespace detail
} // namespace QV
