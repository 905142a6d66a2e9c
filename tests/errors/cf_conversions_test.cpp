#include <QVSharedSupport/cf_conversions.h>

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

using namespace std::string_literals;
using namespace std::chrono_literals;

namespace {

using QV::from_cf_type_t;
using QV::make_cf_type_t;
using QV::make_duration;

template <class T>
constexpr CFNumberType expected_type() {
    if constexpr (std::is_floating_point_v<T>)
        return kCFNumberDoubleType;
    else if constexpr (sizeof(T) == 1)
        return kCFNumberCharType;
    else if constexpr (sizeof(T) == 2)
        return kCFNumberShortType;
    else if constexpr (sizeof(T) == 4)
        return kCFNumberIntType;
    else
        return kCFNumberLongLongType;
}

template <class T>
class NumberConversion : public testing::Test {};

using number_types = testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int,
                                    long long, unsigned long long, double>;
TYPED_TEST_SUITE(NumberConversion, number_types);

TYPED_TEST(NumberConversion, RoundTripsTheWholeRange) {
    using limits = std::numeric_limits<TypeParam>;
    for (const TypeParam value : {limits::lowest(), TypeParam{0}, TypeParam{1}, TypeParam{42}, limits::max(),
                                  static_cast<TypeParam>(limits::max() / 2 + 1)}) {
        const CF::Number number = make_cf_type_t<TypeParam>{}(value);
        ASSERT_TRUE(number);
        EXPECT_EQ(from_cf_type_t<TypeParam>{}(number), value);
    }
}

TYPED_TEST(NumberConversion, StoresTheTypeOfTheSameWidth) {
    // A value that no implementation has a ready object for.
    const TypeParam value{100};
    const CF::Number expected =
        CF::Number::adopt(CFNumberCreate(kCFAllocatorDefault, expected_type<TypeParam>(), &value));
    EXPECT_EQ(CFNumberGetType(make_cf_type_t<TypeParam>{}(value).get()), CFNumberGetType(expected.get()));
}

TYPED_TEST(NumberConversion, AnEmptyWrapperIsZero) {
    EXPECT_EQ(from_cf_type_t<TypeParam>{}(CF::Number()), TypeParam{});
    EXPECT_EQ(from_cf_type_t<TypeParam>{}(CF::Number(CF::String("5"))), TypeParam{});
}

TYPED_TEST(NumberConversion, DoesNotThrow) {
    static_assert(noexcept(from_cf_type_t<TypeParam>{}(std::declval<const CF::Number&>())));
    static_assert(std::is_empty_v<from_cf_type_t<TypeParam>> && std::is_empty_v<make_cf_type_t<TypeParam>>);
    static_assert(std::is_copy_assignable_v<from_cf_type_t<TypeParam>>);
    static_assert(std::is_same_v<decltype(make_cf_type_t<TypeParam>{}(TypeParam{})), CF::Number>);
}

TEST(NumberConversions, UnsignedNumbersAreStoredBitForBit) {
    EXPECT_EQ(make_cf_type_t<unsigned int>{}(0xFFFFFFFFU), CF::Number(-1));
    EXPECT_EQ(from_cf_type_t<unsigned int>{}(CF::Number(-1)), 0xFFFFFFFFU);
    EXPECT_EQ(make_cf_type_t<unsigned char>{}(255), CF::Number(-1));
    EXPECT_EQ(make_cf_type_t<unsigned short>{}(65535), CF::Number(-1));
    EXPECT_EQ(make_cf_type_t<unsigned long long>{}(~0ULL), CF::Number(-1));
}

TEST(NumberConversions, ALossyReadGivesTheConvertedValue) {
    EXPECT_EQ(from_cf_type_t<int>{}(CF::Number(1.9)), 1);
    EXPECT_EQ(from_cf_type_t<int>{}(CF::Number(0x1'0000'0005LL)), 5);
    EXPECT_EQ(from_cf_type_t<signed char>{}(CF::Number(200)), -56);
    EXPECT_EQ(from_cf_type_t<unsigned char>{}(CF::Number(200)), 200);
    EXPECT_EQ(from_cf_type_t<double>{}(CF::Number(3)), 3.0);
}

TEST(NumberConversions, RealsKeepEveryValue) {
    for (const double value : {-0.0, HUGE_VAL, -HUGE_VAL, 5e-324, 0.1}) {
        const double back = from_cf_type_t<double>{}(make_cf_type_t<double>{}(value));
        EXPECT_EQ(back, value);
        EXPECT_EQ(std::signbit(back), std::signbit(value));
    }
    EXPECT_TRUE(std::isnan(from_cf_type_t<double>{}(make_cf_type_t<double>{}(std::nan("")))));
}

TEST(BooleanConversions, AreTheTwoConstants) {
    EXPECT_EQ(make_cf_type_t<bool>{}(true).get(), kCFBooleanTrue);
    EXPECT_EQ(make_cf_type_t<bool>{}(false).get(), kCFBooleanFalse);
    EXPECT_TRUE(from_cf_type_t<bool>{}(CF::Boolean(true)));
    EXPECT_FALSE(from_cf_type_t<bool>{}(CF::Boolean(false)));
    EXPECT_FALSE(from_cf_type_t<bool>{}(CF::Boolean()));
    EXPECT_FALSE(from_cf_type_t<bool>{}(CF::Boolean(CF::Number(1))));
    static_assert(noexcept(from_cf_type_t<bool>{}(CF::Boolean())));
}

TEST(StringConversions, RoundTripUtf8) {
    for (const std::string& text : {""s, "plain"s, "Gerät ключ 鍵 \xF0\x9F\x93\xB1"s,
                                    std::string(100'000, 'x'), std::string(50'000, 'x') + "\xE2\x82\xAC"}) {
        EXPECT_EQ(from_cf_type_t<std::string>{}(make_cf_type_t<std::string>{}(text)), text);
        EXPECT_EQ(from_cf_type_t<std::string>{}(make_cf_type_t<std::string_view>{}(text)), text);
    }
}

TEST(StringConversions, NoTextIsAStringButNoStringIsNoText) {
    EXPECT_TRUE(make_cf_type_t<std::string>{}({}));
    EXPECT_EQ(from_cf_type_t<std::string>{}(CF::String()), "");
    EXPECT_EQ(from_cf_type_t<std::string>{}(CF::String(CF::Number(1))), "");
}

TEST(StringConversions, ANulEndsWhatIsReadButNotWhatIsMade) {
    for (const std::string& text : {"a\0b"s, "ä\0b"s}) {
        const CF::String string = make_cf_type_t<std::string>{}(text);
        EXPECT_EQ(string.to_string(), text);
        EXPECT_EQ(from_cf_type_t<std::string>{}(string), text.substr(0, text.find('\0')));
    }
}

TEST(StringConversions, WhatIsNotUtf8MakesNothing) {
    EXPECT_FALSE(make_cf_type_t<std::string>{}("\xFF"));
    EXPECT_FALSE(make_cf_type_t<std::string_view>{}("\xED\xA0\x80"));
}

TEST(StringConversions, AnUnpairedSurrogateReadsAsNothing) {
    const std::array<UniChar, 2> units{'a', 0xD800};
    const CF::String string =
        CF::String::adopt(CFStringCreateWithCharacters(kCFAllocatorDefault, units.data(), 2));
    EXPECT_EQ(from_cf_type_t<std::string>{}(string), "");
}

TEST(DataConversions, CopyBothWays) {
    std::vector<std::byte> bytes{std::byte{0}, std::byte{1}, std::byte{255}};
    const CF::Data data = make_cf_type_t<std::vector<std::byte>>{}(bytes);
    EXPECT_EQ(make_cf_type_t<std::span<std::byte>>{}(bytes), data);
    bytes[0] = std::byte{9};
    EXPECT_EQ(from_cf_type_t<std::vector<std::byte>>{}(data),
              (std::vector<std::byte>{std::byte{0}, std::byte{1}, std::byte{255}}));
}

TEST(DataConversions, ASpanIsTheObjectsOwnBytes) {
    const CF::Data data = make_cf_type_t<std::vector<std::byte>>{}({std::byte{7}, std::byte{8}});
    const std::span<const std::byte> bytes = from_cf_type_t<std::span<const std::byte>>{}(data);
    EXPECT_EQ(bytes.size(), 2U);
    EXPECT_EQ(static_cast<const void*>(bytes.data()), CFDataGetBytePtr(data.get()));
}

TEST(DataConversions, NothingIsNothing) {
    EXPECT_TRUE(make_cf_type_t<std::vector<std::byte>>{}({}));
    EXPECT_TRUE(make_cf_type_t<std::span<std::byte>>{}({}));
    EXPECT_TRUE(from_cf_type_t<std::vector<std::byte>>{}(CF::Data()).empty());
    EXPECT_TRUE(
        from_cf_type_t<std::vector<std::byte>>{}(make_cf_type_t<std::vector<std::byte>>{}({})).empty());
    const std::span<const std::byte> none = from_cf_type_t<std::span<const std::byte>>{}(CF::Data());
    EXPECT_EQ(none.data(), nullptr);
    EXPECT_EQ(none.size(), 0U);
    EXPECT_TRUE(from_cf_type_t<std::vector<std::byte>>{}(CF::Data(CF::String("text"))).empty());
}

template <class Wrapper>
void expect_passed_through(const Wrapper& wrapper) {
    ASSERT_TRUE(wrapper);
    EXPECT_EQ(make_cf_type_t<Wrapper>{}(wrapper).get(), wrapper.get());
    EXPECT_EQ(from_cf_type_t<Wrapper>{}(wrapper).get(), wrapper.get());
    EXPECT_FALSE(make_cf_type_t<Wrapper>{}(Wrapper()));
    EXPECT_FALSE(from_cf_type_t<Wrapper>{}(Wrapper()));
}

TEST(WrapperConversions, PassTheObjectThrough) {
    expect_passed_through(CF::Array::of(CF::Number(1)));
    expect_passed_through(CF::Boolean(true));
    expect_passed_through(CF::Data(std::span<const std::byte>()));
    expect_passed_through(CF::Date(1.0));
    expect_passed_through(CF::Dictionary::of({{"a", CF::Number(1)}}));
    expect_passed_through(CF::Error(CF::String("d"), 1, CF::String(), CF::Error(), CF::String()));
    expect_passed_through(CF::Number(1));
    expect_passed_through(CF::String("text"));
}

TEST(WrapperConversions, AnAutoPointerIsARetainedCopy) {
    const CF::AutoPointer any = CF::Array::of(CF::Number(1));
    const CF::AutoPointer copy = from_cf_type_t<CF::AutoPointer>{}(any);
    EXPECT_EQ(copy.get(), any.get());
    EXPECT_EQ(CFGetRetainCount(any.get()), 2);
    EXPECT_FALSE(from_cf_type_t<CF::AutoPointer>{}(CF::AutoPointer()));
}

TEST(MakeDuration, CutsToNanoseconds) {
    EXPECT_EQ(make_duration(1.5), 1'500'000'000ns);
    EXPECT_EQ(make_duration(0.0), 0ns);
    EXPECT_EQ(make_duration(-0.0), 0ns);
    EXPECT_EQ(make_duration(1.9e-9), 1ns);
    EXPECT_EQ(make_duration(1e-10), 0ns);
    EXPECT_EQ(make_duration(9223372036.0), 9'223'372'036s);
}

std::string refusal_of(double seconds) {
    try {
        make_duration(seconds);
    } catch (const std::runtime_error& caught) {
        return caught.what();
    }
    return "nothing was thrown";
}

TEST(MakeDuration, RefusesWhatIsBelowZero) {
    EXPECT_EQ(refusal_of(-1.0), "`Duration` cannot be negative: -1");
    EXPECT_EQ(refusal_of(-1.5), "`Duration` cannot be negative: -1.5");
    EXPECT_EQ(refusal_of(-1e-12), "`Duration` cannot be negative: -1e-12");
    EXPECT_EQ(refusal_of(-HUGE_VAL), "`Duration` cannot be negative: -inf");
}

TEST(MakeDuration, WhatDoesNotFitIsTheMostNegative) {
    constexpr std::chrono::nanoseconds indefinite(std::numeric_limits<long long>::min());
    for (const double seconds : {std::nan(""), -std::nan(""), HUGE_VAL, 1e300, 1e10, 9223372036.854776})
        EXPECT_EQ(make_duration(seconds), indefinite) << seconds;
}

TEST(MakeDuration, ReadsNumbers) {
    EXPECT_EQ(make_duration(CF::Number(2)), 2s);
    EXPECT_EQ(make_duration(CF::Number(0.25)), 250ms);
    EXPECT_EQ(make_duration(CF::Number()), 0ns);
    EXPECT_THROW(make_duration(CF::Number(-1)), std::runtime_error);
}

template <class T>
void expect_names(const std::string& stem) {
    EXPECT_TRUE(CF::validate_name<T>("NS" + stem));
    EXPECT_TRUE(CF::validate_name<T>("NSMutable" + stem));
    for (const std::string& wrong : {""s, stem, "NS"s, "NSMutable"s, "ns" + stem, "NS" + stem + " ",
                                     " NS" + stem, "NS" + stem + "\0"s, "NSmutable" + stem, "NSObject"s})
        EXPECT_FALSE(CF::validate_name<T>(wrong)) << wrong;
}

TEST(ValidateName, TakesTwoNamesForEachType) {
    expect_names<CF::Array>("Array");
    expect_names<CF::Data>("Data");
    expect_names<CF::Dictionary>("Dictionary");
    expect_names<CF::Number>("Number");
    expect_names<CF::String>("String");
    EXPECT_FALSE(CF::validate_name<CF::String>("nsstring"));
    EXPECT_FALSE(CF::validate_name<CF::String>("NSArray"));
}

} // namespace
