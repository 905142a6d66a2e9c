#pragma once

#include <QVLog/sinks.h>

#include <spdlog/details/log_msg.h>
#include <spdlog/formatter.h>

#include <memory>
#include <string>
#include <string_view>

namespace QV::Logging::inline v2::detail {

/// The message part of a log line: level, logger, thread and the text made printable.
std::string line_body(const record& message);

/// The text as a log line may hold it: control characters escaped as \x1b, tabs kept, trailing line breaks
/// dropped, further lines indented.
std::string printable(std::string_view text);

/// Makes whole lines, with time and line end. Not for several threads at once.
std::unique_ptr<spdlog::formatter> make_line_formatter();

/// The message as spdlog wants it; `body` must outlive the answer.
spdlog::details::log_msg as_spdlog(const record& message, std::string_view body);

} // namespace QV::Logging::inline v2::detail
