#pragma once

#include <string>
#include <vector>

/// The documented rules by which Microsoft's C runtime splits a command line, written again for the tests.
///
/// Words end at blanks and tabs outside quotation marks. 2n backslashes before a quotation mark are n
/// backslashes and the mark begins or ends quoting; 2n+1 are n backslashes and a mark of the text; other
/// backslashes are themselves. In quoting, two marks in a row are one of the text. The first word, the
/// program, knows no backslash rule.
inline std::vector<std::u16string> split_command_line(const std::u16string& line) {
    std::vector<std::u16string> words;
    std::size_t at = 0;
    const auto blank = [&] { return line[at] == u' ' || line[at] == u'\t'; };

    std::u16string program;
    for (bool quoted = false; at < line.size() && (quoted || !blank()); ++at) {
        if (line[at] == u'"')
            quoted = !quoted;
        else
            program.push_back(line[at]);
    }
    words.push_back(program);

    for (;;) {
        while (at < line.size() && blank())
            ++at;
        if (at == line.size()) return words;
        std::u16string word;
        bool quoted = false;
        while (at < line.size() && (quoted || !blank())) {
            std::size_t backslashes = 0;
            for (; at < line.size() && line[at] == u'\\'; ++at)
                ++backslashes;
            if (at == line.size() || line[at] != u'"') {
                word.append(backslashes, u'\\');
                if (at < line.size() && (quoted || !blank())) word.push_back(line[at++]);
                continue;
            }
            word.append(backslashes / 2, u'\\');
            if (backslashes % 2 == 1) {
                word.push_back(u'"');
            } else if (quoted && at + 1 < line.size() && line[at + 1] == u'"') {
                word.push_back(u'"');
                ++at;
            } else {
                quoted = !quoted;
            }
            ++at;
        }
        words.push_back(word);
    }
}
