#include "expect_throw_with.h"

#include <QVSharedSupport/JSON.h>

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>

namespace {

using namespace QV;
using SharedSupport::JSON::parse;

void expect_text_refused(const std::string& text) {
    SCOPED_TRACE(text);
    qv_test::expect_throw_with<std::invalid_argument>("Invalid JSON", [&] { (void)parse(text); });
}

void expect_nowhere_to_append(const std::string& text) {
    SCOPED_TRACE(text);
    qv_test::expect_throw_with<std::invalid_argument>("Can only append to objects and arrays",
                                                      [&] { (void)parse(text); });
}

TEST(JSON_parser, tells_the_six_kinds_apart) {
    EXPECT_EQ(parse(R"({"a":1})"), JsonValue(JsonObject{{"a", 1.0}}));
    EXPECT_EQ(parse("[1,2]"), JsonValue(JsonArray{1.0, 2.0}));
    EXPECT_EQ(parse("12"), JsonValue(12.0));
    EXPECT_EQ(parse(R"("text")"), JsonValue("text"));
    EXPECT_EQ(parse("true"), JsonValue(true));
    EXPECT_EQ(parse("false"), JsonValue(false));
    EXPECT_EQ(parse("null"), JsonValue(nullptr));
    int index = 0;
    for (const char* text : {"{}", "[]", "0", R"("")", "true", "null"})
        EXPECT_EQ(parse(text).which(), index++) << text;
}

TEST(JSON_parser, takes_blanks_around_tokens_and_no_other_white_space) {
    EXPECT_EQ(parse(" \t\r\n[ \t\r\n1 , 2 ] \t\r\n"), JsonValue(JsonArray{1.0, 2.0}));
    EXPECT_EQ(parse("\r5\n"), JsonValue(5.0));
    expect_text_refused("\f1");
    expect_text_refused("\v1");
    expect_text_refused("\xC2\xA0"
                        "1");
    expect_text_refused("\xEF\xBB\xBF{}");
}

TEST(JSON_parser, refuses_what_is_not_one_value) {
    for (const char* text :
         {"",           " ",       " \t\r\n ",    "1 2",    "{}x",     "[1,]",     "// no\n1",
          "/* no */ 1", "[1",      "{",           "}",      "{\"a\"}", "{\"a\":}", "{\"a\":1,}",
          "{a:1}",      "{1:2}",   "nul",         "True",   "NaN",     "Infinity", "-Infinity",
          "-",          "+1",      "01",          "1.",     ".5",      "1e",       "0x10",
          "\"",         "\"\\q\"", "\"\\u12G4\"", "\"\n\"", "'a'",     "[1 2]",    "{\"a\":1 \"b\":2}",
          ","})
        expect_text_refused(text);
}

TEST(JSON_parser, stops_at_the_first_NUL) {
    EXPECT_EQ(parse(std::string("[1]\0garbage", 11)), JsonValue(JsonArray{1.0}));
    EXPECT_EQ(parse(std::string("5 \0", 3)), JsonValue(5.0));
    expect_text_refused(std::string("\0[1]", 4));
    expect_text_refused(std::string("[1\0]", 4));
    expect_text_refused(std::string("\"a\0b\"", 5));
}

TEST(JSON_parser, makes_every_number_a_double) {
    const auto number = [](const char* text) { return boost::get<double>(parse(text)); };
    EXPECT_EQ(number("2147483647"), 2147483647.0);
    EXPECT_EQ(number("-2147483648"), -2147483648.0);
    EXPECT_EQ(number("4294967295"), 4294967295.0);
    EXPECT_EQ(number("-9223372036854775808"), -0x1p63);
    EXPECT_EQ(number("9223372036854775807"), 0x1p63);
    EXPECT_EQ(number("18446744073709551615"), 0x1p64);
    EXPECT_EQ(number("18446744073709551616"), 0x1p64);
    EXPECT_EQ(number("9007199254740993"), 0x1p53);
    EXPECT_EQ(number("1.5e300"), 1.5e300);
    EXPECT_EQ(number("-0.0"), 0.0);
    EXPECT_TRUE(std::signbit(number("-0.0")));
    EXPECT_EQ(number("1e-999"), 0.0);
    EXPECT_EQ(number("5e-324"), 5e-324);
    EXPECT_EQ(number("1.7976931348623157e308"), 1.7976931348623157e308);
    EXPECT_EQ(number("-17976931348623157e292"), -1.7976931348623157e308);
}

TEST(JSON_parser, refuses_numbers_beyond_the_range_of_a_double) {
    for (const std::string number :
         {"1e309", "-1e309", "10e308", "1.8e308", "-1.8e308", "10000000000e300", "1.7976931348623159e308"}) {
        expect_text_refused(number);
        expect_text_refused("[1," + number + "]");
        // Before there is a question of where it would go.
        expect_text_refused(R"({"a":1,"a":)" + number + "}");
        expect_text_refused(R"({"a":1,"a":[)" + number + "]}");
    }
    expect_nowhere_to_append(R"({"a":1,"a":[2,1.8e308]})");
}

TEST(JSON_parser, bears_exponents_of_any_length) {
    for (const char* number : {"0.12345678901e-2147483639", "1.5e-2147483647", "5E-2147483648",
                               "1e-99999999999999999999", "-0.00000000001e-2147483638"})
        EXPECT_EQ(parse(number), JsonValue(0.0)) << number;
    EXPECT_EQ(parse("25e-00000000000000000001"), JsonValue(2.5));
    EXPECT_EQ(parse("[25e-00000000000000000000,1]"), JsonValue(JsonArray{25, 1}));
    EXPECT_EQ(parse(R"(["e-99999999999","\"e-99999999999",1e-99999999999])"),
              JsonValue(JsonArray{"e-99999999999", "\"e-99999999999", 0.0}));
    expect_text_refused("1e-99999999999x");
    expect_text_refused("1e99999999999");
}

// As many zeros after the point as the exponent makes up for.
TEST(JSON_parser, bears_any_number_of_zeros_after_the_point) {
    for (const int count : {1'000'000, 1'000'001, 1'700'000}) {
        const std::string number = "0." + std::string(static_cast<std::size_t>(count), '0');
        const auto exponent = [&](int more) { return std::to_string(count + more); };
        EXPECT_EQ(parse(number), JsonValue(0.0));
        EXPECT_EQ(parse(number + "e" + exponent(308)), JsonValue(0.0));
        EXPECT_EQ(parse("[-" + number + "25E+000000000" + exponent(1) + ",5e1," + number + "e-1]"),
                  JsonValue(JsonArray{-2.5, 50, 0.0}));
        EXPECT_EQ(parse(number + "1e" + exponent(-322)), JsonValue(1e-323));
        EXPECT_EQ(parse(number + "1e" + exponent(309)), JsonValue(1e308));
        EXPECT_EQ(parse(number + "1e1"), JsonValue(0.0));
        for (const char* exponent_below_zero : {"0", "999999999", "999999999999", "99999999999999999999"})
            EXPECT_EQ(parse(number + "1e-" + exponent_below_zero), JsonValue(0.0)) << exponent_below_zero;
        expect_text_refused(number + "1e" + exponent(311));
        expect_text_refused(number + "e99999999999999999999");
        expect_text_refused(number + "1e+-" + exponent(0));
        expect_text_refused("0" + number + "1e" + exponent(0));
        EXPECT_EQ(parse("[10." + number.substr(2) + "1e1,5e2]"), JsonValue(JsonArray{100, 500}));
        EXPECT_EQ(parse("[\"" + number + "1e7\"]"), JsonValue(JsonArray{number + "1e7"}));
        expect_nowhere_to_append(R"({"a":1,"a":[)" + number + "1, 1e999]}");
    }
}

TEST(JSON_parser, decodes_escapes_and_leaves_other_bytes_as_they_are) {
    EXPECT_EQ(parse(R"("\"\\\/\b\f\n\r\t")"), JsonValue("\"\\/\b\f\n\r\t"));
    EXPECT_EQ(parse(R"("\u0041\u00e9\u6f22\ud83d\ude00")"),
              JsonValue("A\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x98\x80"));
    EXPECT_EQ(parse(R"("a\u0000b")"), JsonValue(std::string("a\0b", 3)));
    EXPECT_EQ(parse(R"({"a\u0000b":1})"), JsonValue(JsonObject{{std::string("a\0b", 3), 1.0}}));
    EXPECT_EQ(parse("\"\xFF\x80\xC0\xAF\""), JsonValue("\xFF\x80\xC0\xAF"));
    expect_text_refused(R"("\ud800")");
    expect_text_refused(R"("\ud800\u0041")");
    expect_text_refused("\"\x1F\"");
}

// Runs of plain characters are taken at once, in blocks: whatever ends them ends them at every place of a
// block.
TEST(JSON_parser, takes_strings_apart_at_every_place) {
    for (std::size_t before = 0; before != 40; ++before) {
        for (std::size_t after : {0U, 1U, 7U, 8U, 9U}) {
            const std::string left(before, 'x');
            const std::string right(after, '\x7F');
            EXPECT_EQ(parse('"' + left + right + '"'), JsonValue(left + right));
            EXPECT_EQ(parse('"' + left + "\\n" + right + '"'), JsonValue(left + "\n" + right));
            EXPECT_EQ(parse('"' + left + "\\\"" + right + '"'), JsonValue(left + "\"" + right));
            EXPECT_EQ(parse('"' + left + "\xC3\xA9\x80\xFF" + right + '"'),
                      JsonValue(left + "\xC3\xA9\x80\xFF" + right));
            for (const char control : {'\x01', '\t', '\n', '\x1A', '\x1F'})
                expect_text_refused('"' + left + control + right + '"');
            expect_text_refused('"' + left + right);
        }
    }
    // As long as the string before it, and of escapes only.
    EXPECT_EQ(parse(R"(["ab","\n\t","cd\n","cd",""])"), JsonValue(JsonArray{"ab", "\n\t", "cd\n", "cd", ""}));
    EXPECT_EQ(parse(R"({"ab":"\n\t","\n\t":"ab"})"), JsonValue(JsonObject{{"ab", "\n\t"}, {"\n\t", "ab"}}));
}

TEST(JSON_parser, takes_any_number_of_blanks) {
    for (std::size_t count = 0; count != 40; ++count) {
        const std::string blanks(count, ' ');
        const std::string lines = blanks + "\n" + blanks + "\r\t" + blanks;
        EXPECT_EQ(
            parse(lines + "[" + lines + "1" + lines + "," + lines + "{" + lines + "}" + lines + "]" + lines),
            JsonValue(JsonArray{1.0, JsonObject{}}));
        expect_text_refused(lines);
        expect_text_refused(lines + "\v1");
    }
}

TEST(JSON_parser, keeps_the_first_of_two_members_of_one_name) {
    EXPECT_EQ(parse(R"({"a":1,"a":2})"), JsonValue(JsonObject{{"a", 1.0}}));
    EXPECT_EQ(parse(R"({"a":1,"b":2,"a":"x","a":null})"), JsonValue(JsonObject{{"a", 1.0}, {"b", 2.0}}));
    EXPECT_EQ(parse(R"([{"":1,"":2}])"), JsonValue(JsonArray{JsonObject{{"", 1.0}}}));
    EXPECT_EQ(parse(R"({"a":[1],"a":2})"), JsonValue(JsonObject{{"a", JsonArray{1.0}}}));
    EXPECT_EQ(parse(R"({"a":1,"a":[]})"), JsonValue(JsonObject{{"a", 1.0}}));
    EXPECT_EQ(parse(R"({"a":"x","a":{}})"), JsonValue(JsonObject{{"a", "x"}}));
}

TEST(JSON_parser, adds_the_contents_of_a_later_container_to_the_first) {
    EXPECT_EQ(parse(R"({"a":[1],"a":[2]})"), JsonValue(JsonObject{{"a", JsonArray{1.0, 2.0}}}));
    EXPECT_EQ(parse(R"({"a":{"x":1},"a":{"x":2,"y":3}})"),
              JsonValue(JsonObject{{"a", JsonObject{{"x", 1.0}, {"y", 3.0}}}}));
    EXPECT_EQ(parse(R"({"a":[1],"a":{"k":2}})"), JsonValue(JsonObject{{"a", JsonArray{1.0, 2.0}}}));
    // Elements in an object take the last name that was read.
    EXPECT_EQ(parse(R"({"a":{"x":1},"a":[2,3]})"),
              JsonValue(JsonObject{{"a", JsonObject{{"x", 1.0}, {"a", 2.0}}}}));
    EXPECT_EQ(parse(R"({"a":{},"a":[{"k":1},5]})"),
              JsonValue(JsonObject{{"a", JsonObject{{"a", JsonObject{{"k", 1.0}}}, {"k", 5.0}}}}));
    EXPECT_EQ(parse(R"({"a":[],"b":0,"a":[[1],{}],"a":[2]})"),
              JsonValue(JsonObject{{"a", JsonArray{JsonArray{1.0}, JsonObject{}, 2.0}}, {"b", 0.0}}));
}

TEST(JSON_parser, has_nowhere_to_put_the_contents_of_a_later_container_into_a_scalar) {
    expect_nowhere_to_append(R"({"a":1,"a":[2]})");
    expect_nowhere_to_append(R"({"a":null,"a":{"k":2}})");
    expect_nowhere_to_append(R"({"a":"x","a":[[]]})");
    expect_nowhere_to_append(R"([[{"a":true,"a":[{}]}]])");
}

TEST(JSON_parser, throws_for_whichever_comes_first) {
    expect_nowhere_to_append(R"({"a":1,"a":[2], this is not JSON)");
    expect_nowhere_to_append(R"({"a":1,"a":[2]} trailing)");
    expect_text_refused(R"({"a":1,"a":[oops, 2]})");
    expect_text_refused(R"([nonsense, {"a":1,"a":[2]}])");
}

TEST(JSON_parser, keeps_a_million_members_and_elements) {
    std::string text = "[";
    for (int i = 0; i != 1'000'000; ++i)
        text += "0,";
    text += "{";
    for (int i = 0; i != 100'000; ++i)
        text += "\"member number " + std::to_string(i) + "\":" + std::to_string(i) + ",";
    text += "\"last\":[]}]";
    const auto value = parse(text);
    const auto& elements = boost::get<JsonArray>(value);
    ASSERT_EQ(elements.size(), 1'000'001U);
    const auto& members = boost::get<JsonObject>(elements.back());
    ASSERT_EQ(members.size(), 100'001U);
    EXPECT_EQ(members.at("member number 99999"), JsonValue(99999.0));
}

} // namespace
