#include "exact_integer.h"

#include <QVSharedSupport/JSON.h>

#include <gtest/gtest.h>

#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <limits>
#include <random>
#include <sstream>
#include <string>

namespace {

using namespace QV;
using SharedSupport::JSON::parse;
using SharedSupport::JSON::to_pretty_string;
using SharedSupport::JSON::to_string;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(JSON_writer, writes_the_six_kinds_without_blanks) {
    EXPECT_EQ(to_string(JsonValue()), "{}");
    EXPECT_EQ(to_string(JsonArray{}), "[]");
    EXPECT_EQ(to_string(JsonArray{true, false, nullptr, "x", 0.5, JsonObject{}}),
              R"([true,false,null,"x",0.5,{}])");
    EXPECT_EQ(to_string(JsonObject{{"b", JsonArray{true, nullptr}}}), R"({"b":[true,null]})");
    const std::string two = to_string(JsonObject{{"a", 1}, {"b", JsonArray{true, nullptr}}});
    EXPECT_TRUE(two == R"({"a":1,"b":[true,null]})" || two == R"({"b":[true,null],"a":1})") << two;
}

TEST(JSON_writer, writes_integers_of_64_bits_as_such) {
    EXPECT_EQ(to_string(2.0), "2");
    EXPECT_EQ(to_string(3.0), "3");
    EXPECT_EQ(to_string(-0.0), "0");
    EXPECT_EQ(to_string(1e15), "1000000000000000");
    EXPECT_EQ(to_string(0x1p62), "4611686018427387904");
    EXPECT_EQ(to_string(-0x1p63), "-9223372036854775808");
    EXPECT_EQ(to_string(std::nextafter(0x1p63, 0)), "9223372036854774784");
    EXPECT_EQ(to_string(-2147483649.0), "-2147483649");
}

TEST(JSON_writer, writes_other_numbers_with_the_fewest_digits) {
    EXPECT_EQ(to_string(2.5), "2.5");
    EXPECT_EQ(to_string(0.5), "0.5");
    EXPECT_EQ(to_string(1e-7), "1e-7");
    EXPECT_EQ(to_string(1.5e300), "1.5e300");
    EXPECT_EQ(to_string(0x1p63), "9223372036854776000.0");
    EXPECT_EQ(to_string(std::nextafter(-0x1p63, -infinity)), "-9223372036854778000.0");
    EXPECT_EQ(to_string(1e300), "1e300");
    EXPECT_EQ(to_string(5e-324), "5e-324");
    EXPECT_EQ(to_string(0.1), "0.1");
    EXPECT_EQ(to_string(1.2345), "1.2345");
}

// The rounding is watched by the processor itself; volatile keeps the compiler from moving it.
bool rounds_without_a_flag(double number) {
    volatile double input = number;
    std::feclearexcept(FE_INVALID | FE_INEXACT);
    volatile long long rounded = std::llrint(input);
    (void)rounded;
    return std::fetestexcept(FE_INVALID | FE_INEXACT) == 0;
}

constexpr int rounding_modes[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};

/// Rounds in another mode while it lives.
class rounding {
public:
    explicit rounding(int mode) : before_(std::fegetround()) { EXPECT_EQ(std::fesetround(mode), 0); }
    rounding(const rounding&) = delete;
    rounding& operator=(const rounding&) = delete;
    ~rounding() { std::fesetround(before_); }

private:
    int before_;
};

TEST(JSON_writer, takes_for_integers_what_rounds_without_a_floating_point_flag) {
    std::mt19937_64 random(2026);
    const auto check = [](double number) {
        for (const int mode : rounding_modes) {
            const rounding in_mode(mode);
            EXPECT_EQ(exact_integer(number).has_value(), rounds_without_a_flag(number)) << number;
            if (exact_integer(number)) {
                EXPECT_EQ(*exact_integer(number), std::llrint(number));
            }
        }
    };
    for (double number :
         {0.0, -0.0, 0.5, 1.0, 1.5, 0x1p52, 0x1p53, 0x1p62, 0x1p63, -0x1p63, 0x1p64, 1e300, infinity, nan})
        for (double near :
             {number, -number, std::nextafter(number, infinity), std::nextafter(number, -infinity)})
            check(near);
    for (int i = 0; i != 20'000; ++i) {
        const std::uint64_t bits = random();
        check(std::bit_cast<double>(bits));
        check(static_cast<double>(static_cast<std::int64_t>(bits) >> (bits % 64)));
        check(static_cast<double>(static_cast<std::int64_t>(bits) >> (bits % 64)) / 4);
    }
}

TEST(JSON_writer, writes_the_same_in_every_rounding_mode) {
    for (const int mode : rounding_modes) {
        const rounding in_mode(mode);
        EXPECT_EQ(to_string(2.5), "2.5");
        EXPECT_EQ(to_string(-2.5), "-2.5");
        EXPECT_EQ(to_string(3.0), "3");
        EXPECT_EQ(to_string(-0x1p63), "-9223372036854775808");
        EXPECT_EQ(to_string(0x1p63), "9223372036854776000.0");
        EXPECT_EQ(to_string(0.1), "0.1");
    }
}

TEST(JSON_writer, leaves_out_what_has_no_JSON_form) {
    EXPECT_EQ(to_string(JsonArray{nan, 1}), "[,1]");
    EXPECT_EQ(to_string(JsonArray{1, infinity, -infinity}), "[1,,]");
    EXPECT_EQ(to_string(JsonObject{{"a", nan}}), R"({"a":})");
    EXPECT_EQ(to_string(nan), "");
    EXPECT_EQ(to_pretty_string(JsonArray{nan, 1}), "[\n    ,\n    1\n]");
    EXPECT_EQ(to_pretty_string(JsonObject{{"a", infinity}}), "{\n    \"a\": \n}");
}

TEST(JSON_writer, escapes_quotes_backslashes_and_controls_only) {
    EXPECT_EQ(to_string("\x01"), R"("\u0001")");
    EXPECT_EQ(to_string("\"\\\b\t\n\f\r"), R"("\"\\\b\t\n\f\r")");
    EXPECT_EQ(to_string("/\x7F\x80\xFF\xC3\xA9"), "\"/\x7F\x80\xFF\xC3\xA9\"");
    for (int byte = 0; byte != 0x20; ++byte) {
        const std::string text = to_string(std::string(1, static_cast<char>(byte)));
        EXPECT_EQ(parse(text), JsonValue(std::string(1, static_cast<char>(byte))));
        if (text.size() > 4) {
            EXPECT_EQ(text.substr(0, 5), "\"\\u00");
            EXPECT_EQ(text.substr(5, 1), byte < 0x10 ? "0" : "1");
            EXPECT_EQ(text.substr(6, 1), std::string(1, "0123456789ABCDEF"[byte % 16]));
        }
    }
    EXPECT_EQ(to_string(std::string("a\0b", 3)), R"("a\u0000b")");
    EXPECT_EQ(to_string(JsonObject{{std::string("\x1F\0", 2), 1}}), R"({"\u001F\u0000":1})");
}

TEST(JSON_writer, lays_out_the_pretty_form) {
    EXPECT_EQ(to_pretty_string(JsonObject{{"a", JsonArray{1, 2}}}),
              "{\n    \"a\": [\n        1,\n        2\n    ]\n}");
    EXPECT_EQ(to_pretty_string(JsonValue()), "{}");
    EXPECT_EQ(to_pretty_string(JsonArray{}), "[]");
    EXPECT_EQ(to_pretty_string(JsonArray{JsonArray{}, JsonObject{}, "x"}),
              "[\n    [],\n    {},\n    \"x\"\n]");
    EXPECT_EQ(to_pretty_string(5), "5");
    EXPECT_EQ(to_pretty_string(nullptr), "null");
    std::string members = to_pretty_string(JsonObject{{"a", 1}, {"b", 2}});
    EXPECT_TRUE(members == "{\n    \"a\": 1,\n    \"b\": 2\n}" ||
                members == "{\n    \"b\": 2,\n    \"a\": 1\n}")
        << members;
}

TEST(JSON_writer, writes_what_is_read_back_as_the_same_value) {
    const JsonValue value = JsonObject{{"number", 0.1},
                                       {"negative", -17},
                                       {"text", "\xE6\xBC\xA2\n"},
                                       {"list", JsonArray{nullptr, true, JsonObject{{"", JsonArray{}}}}}};
    EXPECT_EQ(parse(to_string(value)), value);
    EXPECT_EQ(parse(to_pretty_string(value)), value);
}

TEST(JSON_writer, writes_to_streams) {
    std::ostringstream stream;
    stream << JsonValue(JsonArray{1, "x"}) << JsonObject{};
    EXPECT_EQ(stream.str(), "[1,\"x\"]{}");
}

} // namespace
