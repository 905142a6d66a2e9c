#pragma once

#include <boost/asio/buffer.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace QV::detail {

/// What a byte must be written as when escaped; empty if it stands for itself.
inline std::string_view escape_of(unsigned char byte) noexcept {
    switch (byte) {
    case '\t':
        return "\\t";
    case '\n':
        return "\\n";
    case '\v':
        return "\\v";
    case '\f':
        return "\\f";
    case '\r':
        return "\\r";
    case '\\':
        return "\\\\";
    default:
        return {};
    }
}

constexpr bool is_other_control(unsigned char byte) noexcept {
    return byte < 0x20 || byte == 0x7F;
}

} // namespace QV::detail

/// Formats the bytes of any Asio buffer sequence, one buffer included.
///
///     fmt::format("{:e}", boost::asio::buffer(bytes));      // escaped
///     fmt::format("{:em100}", boost::asio::buffer(bytes));  // the first 100 bytes, escaped
///
/// `e` escapes control characters (tab, line feed, vertical tab, form feed and carriage return as in C,
/// others as `\x` and two hexadecimal digits) and the backslash. Bytes of 0x80 and above stay as they are, so
/// UTF-8 is readable. `m` and a decimal number limits how many bytes of the input are written. Without
/// either, the bytes are written as they are.
/// @throws fmt::format_error "Missing maximum length amount" for `m` without digits; "Maximum length is too
///     large" for a number of more than 64 bits. In a format checked at compile time both are compile errors.
template <class Buffers>
requires(boost::asio::is_const_buffer_sequence<Buffers>::value) struct fmt::formatter<Buffers, char> {
    constexpr auto parse(fmt::format_parse_context& context) {
        auto position = context.begin();
        while (position != context.end() && *position != '}') {
            switch (*position++) {
            case 'e':
                escape_ = true;
                break;
            case 'm':
                position = parse_limit(position, context.end());
                break;
            default:
                throw fmt::format_error("invalid format specifier");
            }
        }
        return position;
    }

    template <class Context>
    auto format(const Buffers& buffers, Context& context) const {
        auto out = context.out();
        std::uint64_t left = limit_;
        const auto end = boost::asio::buffer_sequence_end(buffers);
        for (auto it = boost::asio::buffer_sequence_begin(buffers); it != end && left > 0; ++it) {
            const boost::asio::const_buffer buffer(*it);
            const std::size_t size = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), left));
            left -= size;
            out = write(out, {static_cast<const char*>(buffer.data()), size});
        }
        return out;
    }

private:
    template <class Iterator>
    constexpr Iterator parse_limit(Iterator position, Iterator end) {
        const auto is_digit = [&] { return position != end && *position >= '0' && *position <= '9'; };
        if (!is_digit()) throw fmt::format_error("Missing maximum length amount");
        constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
        limit_ = 0;
        for (; is_digit(); ++position) {
            const auto digit = static_cast<std::uint64_t>(*position - '0');
            if (limit_ > (largest - digit) / 10) throw fmt::format_error("Maximum length is too large");
            limit_ = limit_ * 10 + digit;
        }
        return position;
    }

    template <class Output>
    Output write(Output out, std::string_view bytes) const {
        if (!escape_) return std::copy(bytes.begin(), bytes.end(), out);
        for (const char byte : bytes) {
            const auto value = static_cast<unsigned char>(byte);
            const std::string_view escape = QV::detail::escape_of(value);
            if (!escape.empty())
                out = std::copy(escape.begin(), escape.end(), out);
            else if (QV::detail::is_other_control(value))
                out = fmt::format_to(out, "\\x{:02x}", value);
            else
                *out++ = byte;
        }
        return out;
    }

    bool escape_ = false;
    std::uint64_t limit_ = std::numeric_limits<std::uint64_t>::max();
};
