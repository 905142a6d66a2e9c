#pragma once

#include <random>
#include <string>
#include <vector>

/// Command-line words that are hard to quote: quotation marks, runs of backslashes, blanks, wildcards,
/// characters of one to four bytes, in every mixture; and the empty word. The same seed gives the same words.
inline std::vector<std::string> make_words(std::size_t count, unsigned seed) {
    static const std::vector<std::string> pieces = {
        "\"", "\"\"", "\\", "\\\\", "\\\\\\", " ",        "\t",           "a",
        "*",  "?",    "%",  "^",    "&",      "\xC3\xA9", "\xE6\xB0\xB4", "\xF0\x9F\x8D\x8C",
        "=",  "'",    "-",  "/x",   "\\\"",   "\n",       "\x01",         "zz"};
    std::mt19937 random(seed);
    std::vector<std::string> words;
    for (std::size_t i = 0; i < count; ++i) {
        std::string word;
        for (std::size_t left = random() % 9; left > 0; --left)
            word += pieces[random() % pieces.size()];
        words.push_back(word);
    }
    return words;
}
