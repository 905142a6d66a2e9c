#include "command_line.h"

#include "argv_rules.h"
#include "utf.h"
#include "word_generator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using QV::make_command_line;

std::u16string quoted(std::string_view word) {
    std::u16string line;
    QV::append_command_line_word(line, word);
    return line;
}

TEST(command_line, quotes_every_word_and_ends_it_with_a_space) {
    EXPECT_EQ(quoted("plain"), u"\"plain\" ");
    EXPECT_EQ(quoted("two words"), u"\"two words\" ");
    EXPECT_EQ(quoted(""), u"\"\" ");
}

TEST(command_line, escapes_quotation_marks_and_the_backslashes_before_them) {
    EXPECT_EQ(quoted("\""), u"\"\\\"\" ");
    EXPECT_EQ(quoted("a\\\"b"), u"\"a\\\\\\\"b\" ");
    EXPECT_EQ(quoted("a\\\\\"b"), u"\"a\\\\\\\\\\\"b\" ");
}

TEST(command_line, leaves_other_backslashes_alone_but_for_the_last) {
    EXPECT_EQ(quoted("a\\b"), u"\"a\\b\" ");
    EXPECT_EQ(quoted("\\\\server\\share"), u"\"\\\\server\\share\" ");
    EXPECT_EQ(quoted("x\\"), u"\"x\\\\\" ");
    EXPECT_EQ(quoted("x\\\\"), u"\"x\\\\\\\\\" ");
}

TEST(command_line, drops_what_is_not_utf8) {
    EXPECT_EQ(quoted("a\xFF"
                     "b"),
              u"\"ab\" ");
    EXPECT_EQ(quoted("\xED\xA0\x80"), u"\"\" ");
    EXPECT_EQ(quoted("\xC3\xA9\xF0\x9F\x8D\x8C"), u"\"\u00E9\U0001F34C\" ");
}

TEST(command_line, has_single_spaces_between_words_and_none_at_the_end) {
    const std::vector<std::string> arguments = {"-v", "pipe=64"};
    EXPECT_EQ(make_command_line("C:\\a b\\x.exe", arguments), u"\"C:\\a b\\x.exe\" \"-v\" \"pipe=64\"");
}

TEST(command_line, quotes_an_empty_path) {
    EXPECT_EQ(make_command_line("", {}), u"\"\"");
}

TEST(command_line, refuses_words_that_would_be_cut_at_a_nul) {
    const std::vector<std::string> arguments = {"a", std::string("b\0c", 3)};
    try {
        (void)make_command_line("x", arguments);
        FAIL() << "not refused";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Command-line word contains a NUL character");
    }
    EXPECT_THROW((void)make_command_line(std::string_view("x\0", 2), {}), std::invalid_argument);
}

TEST(command_line, is_split_into_the_same_words_again) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        const std::vector<std::string> arguments = make_words(100, seed);
        const auto words = split_command_line(make_command_line("C:\\a b\\x.exe", arguments));
        ASSERT_EQ(words.size(), arguments.size() + 1);
        EXPECT_EQ(words[0], u"C:\\a b\\x.exe");
        for (std::size_t i = 0; i < arguments.size(); ++i)
            ASSERT_EQ(words[i + 1], QV::utf::to_utf16(arguments[i], QV::utf::mode::strict)) << arguments[i];
    }
}

} // namespace
