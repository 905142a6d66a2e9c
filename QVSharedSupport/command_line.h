#pragma once

#include <span>
#include <string>
#include <string_view>

namespace QV {

/// Appends one command-line word in the quoting that the Microsoft C runtime's argument parser undoes: always
/// in quotation marks, each run of backslashes doubled where a quotation mark follows it; then one space.
/// @param word UTF-8; what is not valid UTF-8 is dropped.
/// @throws std::invalid_argument "Command-line word contains a NUL character": the line would end there, and
///     the child would silently lose this word's rest and all that follow.
void append_command_line_word(std::u16string& line, std::string_view word);

/// The command line of a child: its path, then its arguments, one space between words and none at the end.
/// @throws as `append_command_line_word`
std::u16string make_command_line(std::string_view path, std::span<const std::string> arguments);

} // namespace QV
