#include "line_formatter.h"

#include <fmt/format.h>
#include <spdlog/pattern_formatter.h>

#include <array>
#include <iterator>

namespace QV::Logging::inline v2::detail {

namespace {

std::string_view level_name(log_level level) {
    static constexpr std::array<std::string_view, 6> names = {"trace",  "debug", "info",
                                                              "notice", "error", "critical"};
    const auto index = static_cast<std::size_t>(level);
    return index < names.size() ? names[index] : "?";
}

} // namespace

std::string printable(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.remove_suffix(1);
    std::string line;
    line.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\r' && text[i + 1] == '\n') continue; // the text does not end in one
        if (c == '\n') {
            line += "\n    ";
        } else if ((byte < 0x20 && c != '\t') || byte == 0x7F) {
            fmt::format_to(std::back_inserter(line), "\\x{:02x}", byte);
        } else {
            line += c;
        }
    }
    return line;
}

std::string line_body(const record& message) {
    std::string line = fmt::format("[{}] [{}] [", level_name(message.level), printable(message.logger_name));
    if (!message.thread_name.empty()) line += printable(message.thread_name) + " ";
    fmt::format_to(std::back_inserter(line), "{}] ", message.thread_id);
    line += printable(message.text);
    return line;
}

std::unique_ptr<spdlog::formatter> make_line_formatter() {
    return std::make_unique<spdlog::pattern_formatter>("[%Y-%m-%d %H:%M:%S.%e %z] %v");
}

spdlog::details::log_msg as_spdlog(const record& message, std::string_view body) {
    return {std::chrono::time_point_cast<spdlog::log_clock::duration>(message.time), spdlog::source_loc{},
            spdlog::string_view_t{}, spdlog::level::info, spdlog::string_view_t{body.data(), body.size()}};
}

} // namespace QV::Logging::inline v2::detail
