#include "utf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using QV::utf::mode;
using QV::utf::to_utf16;
using QV::utf::to_utf8;

TEST(utf, converts_every_code_point_both_ways) {
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c < 0xE000) continue;
        std::u16string wide;
        if (c >= 0x10000) wide.push_back(static_cast<char16_t>(0xD7C0 + (c >> 10)));
        wide.push_back(static_cast<char16_t>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FF)));
        const std::string narrow = to_utf8(wide, mode::strict);
        const std::size_t expected = c < 0x80 ? 1u : c < 0x800 ? 2u : c < 0x10000 ? 3u : 4u;
        ASSERT_EQ(narrow.size(), expected) << std::hex << static_cast<unsigned>(c);
        ASSERT_EQ(to_utf16(narrow, mode::strict), wide) << std::hex << static_cast<unsigned>(c);
    }
}

TEST(utf, keeps_known_texts) {
    EXPECT_EQ(to_utf16("z\xC3\x9F\xE6\xB0\xB4\xF0\x9F\x8D\x8C", mode::strict), u"z\u00DF\u6C34\U0001F34C");
    EXPECT_EQ(to_utf8(u"z\u00DF\u6C34\U0001F34C", mode::strict), "z\xC3\x9F\xE6\xB0\xB4\xF0\x9F\x8D\x8C");
    EXPECT_EQ(to_utf16(std::string("a\0b", 3), mode::strict), std::u16string(u"a\0b", 3));
    EXPECT_EQ(to_utf16("", mode::strict), u"");
    EXPECT_EQ(to_utf8(u"", mode::strict), "");
}

struct malformed {
    const char* bytes;
    const char16_t* kept;
};

class malformed_utf8 : public testing::TestWithParam<malformed> {};

TEST_P(malformed_utf8, is_dropped_or_refused) {
    const std::string text = std::string("a").append(GetParam().bytes).append("z");
    const std::u16string kept = std::u16string(u"a").append(GetParam().kept).append(u"z");
    EXPECT_EQ(to_utf16(text, mode::lenient), kept);
    try {
        (void)to_utf16(text, mode::strict);
        FAIL() << "not refused";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Conversion failed");
    }
}

INSTANTIATE_TEST_SUITE_P(utf, malformed_utf8,
                         testing::Values(malformed{"\x80", u""},             // a trail byte alone
                                         malformed{"\xFF", u""},             // never a lead byte
                                         malformed{"\xC0\x80", u""},         // overlong NUL
                                         malformed{"\xE0\x9F\xBF", u""},     // overlong three bytes
                                         malformed{"\xF0\x8F\xBF\xBF", u""}, // overlong four bytes
                                         malformed{"\xED\xA0\x80", u""},     // a surrogate
                                         malformed{"\xF4\x90\x80\x80", u""}, // past U+10FFFF
                                         malformed{"\xE6\xB0", u""},         // cut short
                                         malformed{"\xE6\xB0q", u"q"}, // cut short by a letter, which stays
                                         malformed{"\xF0\x9F\xC3\xA9",
                                                   u"\u00E9"}, // cut short by a whole character
                                         malformed{"\xF0\x9F\x8D", u""}));

TEST(utf, drops_a_sequence_cut_off_by_the_end) {
    EXPECT_EQ(to_utf16("ab\xE6", mode::lenient), u"ab");
    EXPECT_EQ(to_utf16("\xF0\x9F\x8D", mode::lenient), u"");
}

TEST(utf, drops_lone_surrogates_and_what_follows_a_high_one) {
    const char16_t high = 0xD800;
    const char16_t low = 0xDC00;
    EXPECT_EQ(to_utf8(std::u16string{u'a', low, u'b'}, mode::lenient), "ab");
    EXPECT_EQ(to_utf8(std::u16string{u'a', high}, mode::lenient), "a");
    EXPECT_EQ(to_utf8(std::u16string{high, u'A'}, mode::lenient), "");
    EXPECT_EQ(to_utf8(std::u16string{high, high, low}, mode::lenient), "");
    for (const std::u16string& text : {std::u16string{low}, std::u16string{high}, std::u16string{high, u'A'}})
        EXPECT_THROW((void)to_utf8(text, mode::strict), std::runtime_error);
}

} // namespace
