#include "failing_allocator.h"

#include <CFAdapters/CFAdapters.h>

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>
#include <string>

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

TEST(CFAdaptersString, RoundTripsUtf8WithEmbeddedNuls) {
    for (const std::string& text :
         {""s, "plain"s, "Gerät"s, "iPhone \xF0\x9F\x93\xB1 ok"s, "a\0b"s, "\0"s, "ä\0\xF0\x9F\x93\xB1"s}) {
        const CF::String string(text);
        ASSERT_TRUE(string);
        EXPECT_EQ(string.to_string(), text);
        EXPECT_EQ(string, text);
    }
}

TEST(CFAdaptersString, LengthCountsUtf16Units) {
    EXPECT_EQ(CF::String("ä").length(), 1U);
    EXPECT_EQ(CF::String("\xF0\x9F\x93\xB1").length(), 2U);
    EXPECT_TRUE(CF::String("").empty());
    EXPECT_TRUE(CF::String().empty());
    EXPECT_FALSE(CF::String("x").empty());
}

TEST(CFAdaptersString, IllFormedUtf8MakesNoString) {
    for (const std::string_view text :
         {"\xFF"sv, "a\xC3"sv, "\xC0\x80"sv, "\xED\xA0\x80"sv, "\xF4\x90\x80\x80"sv})
        EXPECT_FALSE(CF::String(text));
}

TEST(CFAdaptersString, ALongTextIsKeptWhole) {
    const std::string text = std::string(100'000, 'x') + "é" + std::string(100'000, 'y');
    EXPECT_EQ(CF::String(text).to_string(), text);
}

TEST(CFAdaptersString, AnUnpairedSurrogateBecomesAReplacementCharacter) {
    const std::array<UniChar, 5> units{'a', 0xD800, 'b', 0xDC00, 0xD800};
    const CF::String string = CF::String::adopt(
        CFStringCreateWithCharacters(kCFAllocatorDefault, units.data(), static_cast<CFIndex>(units.size())));
    EXPECT_EQ(string.to_string(), "a\xEF\xBF\xBD"
                                  "b\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(CFAdaptersString, ComparesWithTexts) {
    EXPECT_TRUE(CF::String("abc") == "abc");
    EXPECT_TRUE("abc"sv == CF::String("abc"));
    EXPECT_TRUE(CF::String("abc") != "abd"s);
    EXPECT_FALSE(CF::String() == "");
}

TEST(CFAdaptersString, OrdersByUnitWithEmptyFirst) {
    EXPECT_LT(CF::String("Z"), CF::String("a"));
    EXPECT_LT(CF::String(), CF::String(""));
    EXPECT_TRUE((CF::String() <=> CF::String()) == std::strong_ordering::equal);
    const std::map<CF::String, int> ordered{{CF::String("b"), 2}, {CF::String("a"), 1}};
    EXPECT_EQ(ordered.begin()->first, "a");
}

TEST(CFAdaptersString, ConstantsAreNotCounted) {
    const CF::String constant(CFSTR("constant"));
    EXPECT_EQ(constant, "constant");
    EXPECT_EQ(constant.get(), CFSTR("constant"));
}

TEST(CFAdaptersString, WithoutMemoryIsEmpty) {
    const qv_test::failing_allocator none(0);
    EXPECT_FALSE(CF::String("a text that no implementation keeps inside a reference"));
    EXPECT_TRUE(none.refused());
}

template <class T>
void expect_number_round_trip() {
    using limits = std::numeric_limits<T>;
    for (const T value : {limits::lowest(), static_cast<T>(-1), T{0}, T{1}, limits::max()}) {
        const CF::Number number(value);
        EXPECT_EQ(number.value<T>(), value);
        EXPECT_EQ(number.is_real(), !limits::is_integer);
    }
}

TEST(CFAdaptersNumber, RoundTripsEveryType) {
    expect_number_round_trip<signed char>();
    expect_number_round_trip<short>();
    expect_number_round_trip<int>();
    expect_number_round_trip<long>();
    expect_number_round_trip<long long>();
    expect_number_round_trip<float>();
    expect_number_round_trip<double>();
}

TEST(CFAdaptersNumber, AnEmptyOneIsZero) {
    EXPECT_EQ(CF::Number().value<int>(), 0);
    EXPECT_EQ(CF::Number().value<double>(), 0.0);
    EXPECT_EQ(CF::Number().exact<int>(), std::nullopt);
    EXPECT_FALSE(CF::Number().is_real());
}

TEST(CFAdaptersNumber, ExactRefusesWhatDoesNotFit) {
    EXPECT_EQ(CF::Number(200).exact<signed char>(), std::nullopt);
    EXPECT_EQ(CF::Number(200).exact<unsigned char>(), 200);
    EXPECT_EQ(CF::Number(-1).exact<unsigned long long>(), std::nullopt);
    EXPECT_EQ(CF::Number(-128).exact<signed char>(), -128);
    EXPECT_EQ(CF::Number(-129).exact<signed char>(), std::nullopt);
    EXPECT_EQ(CF::Number(127).exact<signed char>(), 127);
    const long long most = std::numeric_limits<long long>::max();
    EXPECT_EQ(CF::Number(most).exact<long long>(), most);
    EXPECT_EQ(CF::Number(most).exact<unsigned long long>(), static_cast<unsigned long long>(most));
    EXPECT_EQ(CF::Number(std::numeric_limits<long long>::min()).exact<long long>(),
              std::numeric_limits<long long>::min());
    EXPECT_EQ(CF::Number(5000000000LL).exact<int>(), std::nullopt);
    EXPECT_EQ(CF::Number(1.5).exact<int>(), std::nullopt);
    EXPECT_EQ(CF::Number(2.0).exact<int>(), 2);
    EXPECT_EQ(CF::Number(std::nan("")).exact<int>(), std::nullopt);
    EXPECT_EQ(CF::Number(1e300).exact<long long>(), std::nullopt);
}

TEST(CFAdaptersBoolean, PresenceIsNotTruth) {
    EXPECT_TRUE(CF::Boolean(false));
    EXPECT_FALSE(CF::Boolean(false).value());
    EXPECT_TRUE(CF::Boolean(true).value());
    EXPECT_FALSE(CF::Boolean().value());
    EXPECT_EQ(CF::Boolean(true).get(), kCFBooleanTrue);
    EXPECT_EQ(CF::Boolean(false).get(), kCFBooleanFalse);
}

TEST(CFAdaptersData, CopiesBytesInAndOut) {
    const std::array<std::byte, 3> bytes{std::byte{0}, std::byte{255}, std::byte{1}};
    const CF::Data data(bytes);
    EXPECT_EQ(data.size(), 3U);
    EXPECT_NE(data.bytes().data(), bytes.data());
    EXPECT_EQ(data.to_vector(), std::vector<std::byte>(bytes.begin(), bytes.end()));
}

TEST(CFAdaptersData, NoBytesAreNotNoObject) {
    const CF::Data data{std::span<const std::byte>()};
    EXPECT_TRUE(data);
    EXPECT_TRUE(data.empty());
    EXPECT_TRUE(data.to_vector().empty());
    EXPECT_EQ(CF::Data().size(), 0U);
    EXPECT_EQ(CF::Data().bytes().data(), nullptr);
    const CF::Data none{std::span<const std::byte>()};
    ASSERT_TRUE(none);
    EXPECT_EQ(none.bytes().size(), 0U);
    EXPECT_EQ(static_cast<const void*>(none.bytes().data()), CFDataGetBytePtr(none.get()));
    EXPECT_TRUE(CF::Data().to_vector().empty());
}

TEST(CFAdaptersDate, CountsFromTheYear2001) {
    const CF::Date date(0.0);
    ASSERT_TRUE(date.to_time_point());
    EXPECT_EQ(*date.to_time_point(), std::chrono::sys_days(std::chrono::year(2001) / 1 / 1));
    const std::chrono::system_clock::time_point moon_landing =
        std::chrono::sys_days(std::chrono::year(1969) / 7 / 20);
    EXPECT_EQ(CF::Date(moon_landing).to_time_point(), moon_landing);
}

TEST(CFAdaptersDate, WhatTheClockCannotSayIsNothing) {
    EXPECT_EQ(CF::Date().to_time_point(), std::nullopt);
    EXPECT_EQ(CF::Date().absolute_time(), 0.0);
    for (const double seconds : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, -1e300})
        EXPECT_EQ(CF::Date(seconds).to_time_point(), std::nullopt);
}

TEST(CFAdaptersDate, OrdersByTime) {
    EXPECT_LT(CF::Date(-1.0), CF::Date(0.0));
    EXPECT_LT(CF::Date(), CF::Date(-1e300));
    EXPECT_FALSE(CF::Date(std::nan("")) < CF::Date(0.0));
}

} // namespace
