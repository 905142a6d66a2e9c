#include "command_line.h"

#include "utf.h"

#include <cstddef>
#include <stdexcept>

namespace QV {

void append_command_line_word(std::u16string& line, std::string_view word) {
    if (word.find('\0') != std::string_view::npos)
        throw std::invalid_argument("Command-line word contains a NUL character");
    line.push_back(u'"');
    std::size_t backslashes = 0;
    for (const char16_t unit : utf::to_utf16(word, utf::mode::lenient)) {
        if (unit == u'\\') {
            ++backslashes;
            continue;
        }
        line.append(unit == u'"' ? 2 * backslashes + 1 : backslashes, u'\\');
        line.push_back(unit);
        backslashes = 0;
    }
    line.append(2 * backslashes, u'\\');
    line.append(u"\" ");
}

std::u16string make_command_line(std::string_view path, std::span<const std::string> arguments) {
    std::u16string line;
    append_command_line_word(line, path);
    for (const std::string& argument : arguments)
        append_command_line_word(line, argument);
    line.pop_back();
    return line;
}

} // namespace QV
