// Strings beyond what was recorded: changing them, formatting, splitting, memory that is used in place.
#include "objects.h"

#include <array>
#include <cmath>
#include <cstdarg>
#include <gtest/gtest.h>
#include <limits>

extern "C" int length_from_c(void);

namespace {

using namespace objects;

template <typename... Arguments>
std::string formatted(CFStringRef format, Arguments... arguments) {
    return utf8_of(CFStringCreateWithFormat(nullptr, nullptr, format, arguments...));
}

TEST(String, InterfaceServesCPrograms) {
    EXPECT_EQ(length_from_c(), 8);
}

TEST(String, ConstantIsOneObjectForOneText) {
    EXPECT_EQ(CFSTR("one text"), CFSTR("one text"));
    EXPECT_NE(CFSTR("one text"), CFSTR("another"));
    EXPECT_EQ(utf8(CFSTR("caf\xC3\xA9")), "caf\xC3\xA9");
    EXPECT_EQ(CFSTR("\xFF"), nullptr);
    CFRelease(CFSTR("one text"));
    EXPECT_EQ(utf8(CFSTR("one text")), "one text");
}

TEST(String, AppendingWidensWhenItMust) {
    const auto text = mutable_string("plain");
    CFStringAppend(text.get(), CFSTR(" and more"));
    EXPECT_NE(CFStringGetCStringPtr(text.get(), kCFStringEncodingUTF8), nullptr);
    CFStringAppend(text.get(), CFSTR(" caf\xC3\xA9"));
    EXPECT_EQ(CFStringGetCStringPtr(text.get(), kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(utf8(text.get()), "plain and more caf\xC3\xA9");
    CFStringAppendCString(text.get(), "\xFF", kCFStringEncodingUTF8);
    EXPECT_EQ(CFStringGetLength(text.get()), 19);
}

TEST(String, TakesItselfIn) {
    const auto text = mutable_string("ab");
    for (int i = 0; i < 10; ++i)
        CFStringAppend(text.get(), text.get());
    EXPECT_EQ(CFStringGetLength(text.get()), 2048);
    CFStringReplace(text.get(), CFRangeMake(2, 2046), text.get());
    EXPECT_EQ(CFStringGetLength(text.get()), 2050);
    EXPECT_EQ(CFStringFindAndReplace(text.get(), text.get(), text.get(), CFRangeMake(0, 2050), 0), 1);
}

TEST(String, InsertsDeletesReplaces) {
    const auto text = mutable_string("hello");
    CFStringInsert(text.get(), 5, CFSTR("!"));
    CFStringInsert(text.get(), 0, CFSTR(">"));
    CFStringInsert(text.get(), 99, CFSTR("x"));
    CFStringInsert(text.get(), -1, CFSTR("x"));
    EXPECT_EQ(utf8(text.get()), ">hello!");
    CFStringDelete(text.get(), CFRangeMake(1, 2));
    CFStringDelete(text.get(), CFRangeMake(4, 9));
    EXPECT_EQ(utf8(text.get()), ">llo!");
    CFStringReplace(text.get(), CFRangeMake(0, 1), CFSTR("he"));
    EXPECT_EQ(utf8(text.get()), "hello!");
    CFStringReplaceAll(text.get(), CFSTR(""));
    EXPECT_EQ(CFStringGetLength(text.get()), 0);
}

TEST(String, FindsAndReplaces) {
    const auto text = mutable_string("a-b-c-d");
    const CFRange all = CFRangeMake(0, 7);
    EXPECT_EQ(CFStringFindAndReplace(text.get(), CFSTR("-"), CFSTR("--"), all, 0), 3);
    EXPECT_EQ(utf8(text.get()), "a--b--c--d");
    EXPECT_EQ(
        CFStringFindAndReplace(text.get(), CFSTR("--"), CFSTR(""), CFRangeMake(0, 10), kCFCompareBackwards),
        3);
    EXPECT_EQ(utf8(text.get()), "abcd");
    EXPECT_EQ(CFStringFindAndReplace(text.get(), CFSTR(""), CFSTR("x"), CFRangeMake(0, 4), 0), 0);
}

TEST(String, TrimsAndPads) {
    const auto text = mutable_string(" \t x y\xE2\x80\x83\n");
    CFStringTrimWhitespace(text.get());
    EXPECT_EQ(utf8(text.get()), "x y");
    CFStringPad(text.get(), CFSTR("12"), 8, 1);
    EXPECT_EQ(utf8(text.get()), "x y21212");
    CFStringPad(text.get(), nullptr, 3, 0);
    EXPECT_EQ(utf8(text.get()), "x y");
    const auto dashes = mutable_string("--x--");
    CFStringTrim(dashes.get(), CFSTR("-"));
    EXPECT_EQ(utf8(dashes.get()), "x");
    const auto only = mutable_string("----");
    CFStringTrim(only.get(), CFSTR("-"));
    EXPECT_EQ(utf8(only.get()), "");
}

TEST(String, ChangesCase) {
    const auto text = mutable_string("Stra\xC3\x9F"
                                     "e \xC3\x89"
                                     "cole");
    CFStringUppercase(text.get(), nullptr);
    EXPECT_EQ(utf8(text.get()), "STRASSE \xC3\x89"
                                "COLE");
    CFStringLowercase(text.get(), nullptr);
    EXPECT_EQ(utf8(text.get()), "strasse \xC3\xA9"
                                "cole");
    CFStringFold(text.get(), kCFCompareDiacriticInsensitive, nullptr);
    EXPECT_EQ(utf8(text.get()), "strasse ecole");
}

TEST(String, MutableCopyIsIndependent) {
    const auto original = mutable_string("a");
    const auto copy = own(CFStringCreateCopy(nullptr, original.get()));
    CFStringAppend(original.get(), CFSTR("b"));
    EXPECT_EQ(utf8(copy.get()), "a");
    EXPECT_EQ(CFHash(original.get()), CFHash(string("ab").get()));
}

TEST(String, FormatsIntegersOfEveryLength) {
    EXPECT_EQ(formatted(CFSTR("%d %i %u"), -5, 6, 4000000000U), "-5 6 4000000000");
    EXPECT_EQ(formatted(CFSTR("%hhd %hd %hhu"), 300, 70000, 511), "44 4464 255");
    EXPECT_EQ(formatted(CFSTR("%ld %lu"), -5L, 5UL), "-5 5");
    EXPECT_EQ(formatted(CFSTR("%lld %llu %qd"), std::numeric_limits<long long>::min(), ~0ULL, 7LL),
              "-9223372036854775808 18446744073709551615 7");
    EXPECT_EQ(formatted(CFSTR("%zu %td %jd"), std::size_t{9}, std::ptrdiff_t{-9}, std::intmax_t{8}),
              "9 -9 8");
    EXPECT_EQ(formatted(CFSTR("%x %X %#x %o %#o"), 255U, 255U, 255U, 8U, 8U), "ff FF 0xff 10 010");
    EXPECT_EQ(formatted(CFSTR("[%5d|%-5d|%05d|%+d|% d|%.3d|%*d]"), 42, 42, 42, 42, 42, 42, 4, 42),
              "[   42|42   |00042|+42| 42|042|  42]");
    EXPECT_EQ(formatted(CFSTR("[%*d|%.*s]"), -4, 1, 2, "abc"), "[1   |ab]");
    EXPECT_EQ(formatted(CFSTR("[%.0d]"), 0), "[]");
}

TEST(String, FormatsReals) {
    EXPECT_EQ(formatted(CFSTR("%f %.2f %e %g %G"), 1.5, 2.345, 12345.678, 1e-7, 1e20),
              "1.500000 2.35 1.234568e+04 1e-07 1E+20");
    EXPECT_EQ(formatted(CFSTR("%.17g %.0f"), 0.1, 2.5), "0.10000000000000001 2");
    EXPECT_EQ(formatted(CFSTR("[%8.2f|%-8.2f|%08.2f|%+.1f]"), -1.5, 1.5, -1.5, 1.5),
              "[   -1.50|1.50    |-0001.50|+1.5]");
    EXPECT_EQ(formatted(CFSTR("%f %F %05g"), INFINITY, -INFINITY, NAN), "inf -INF   nan");
    EXPECT_EQ(formatted(CFSTR("%Lf %a"), 1.5L, 1.0), "1.500000 0x1p+0");
    EXPECT_EQ(formatted(CFSTR("%.3f"), std::numeric_limits<double>::max()).size(), 313U);
}

TEST(String, FormatsTextAndObjects) {
    EXPECT_EQ(formatted(CFSTR("%s|%5s|%-5s|%.2s"), "ab", "ab", "ab", "abc"), "ab|   ab|ab   |ab");
    EXPECT_EQ(formatted(CFSTR("%s %s"), "caf\xC3\xA9", "\xE9"), "caf\xC3\xA9 \xC3\xA9");
    EXPECT_EQ(formatted(CFSTR("%s %@ %S"), static_cast<const char*>(nullptr), static_cast<CFTypeRef>(nullptr),
                        static_cast<const UniChar*>(nullptr)),
              "(null) (null) (null)");
    constexpr std::array<UniChar, 3> units = {0x4E2D, 'x', 0};
    EXPECT_EQ(formatted(CFSTR("%S %C %c %ls"), units.data(), 0x4E2D, 'c', L"wide"),
              "\xE4\xB8\xADx \xE4\xB8\xAD c wide");
    EXPECT_EQ(formatted(CFSTR("[%@|%6@|%-6@]"), CFSTR("obj"), CFSTR("obj"), CFSTR("obj")),
              "[obj|   obj|obj   ]");
    EXPECT_EQ(formatted(CFSTR("%@ %@ %@"), number(5).get(), kCFBooleanTrue, kCFNull), "5 true null");
    EXPECT_EQ(formatted(CFSTR("%p"), reinterpret_cast<const void*>(0x1f)), "0x1f");
}

TEST(String, FormatsByPositionAndKeepsWhatIsNoConversion) {
    EXPECT_EQ(formatted(CFSTR("%2$@ %1$d"), 7, CFSTR("seven")), "seven 7");
    EXPECT_EQ(formatted(CFSTR("%1$d %1$d"), 7), "7 7");
    EXPECT_EQ(formatted(CFSTR("100%% %y %")), "100% %y %");
    int written = 42;
    EXPECT_EQ(formatted(CFSTR("a%nb"), &written), "ab");
    EXPECT_EQ(written, 42);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
}

TEST(String, AppendsFormats) {
    const auto text = mutable_string("n = ");
    CFStringAppendFormat(text.get(), nullptr, CFSTR("%d of %@"), 1, text.get());
    EXPECT_EQ(utf8(text.get()), "n = 1 of n = ");
}

TEST(String, SplitsAndJoins) {
    const auto parts = own(CFStringCreateArrayBySeparatingStrings(nullptr, CFSTR(",a,,b,"), CFSTR(",")));
    EXPECT_EQ(CFArrayGetCount(parts.get()), 5);
    EXPECT_EQ(utf8_of(CFStringCreateByCombiningStrings(nullptr, parts.get(), CFSTR(";"))), ";a;;b;");
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, CFSTR("a"), CFSTR("")), nullptr);
    const auto mixed = array();
    CFArrayAppendValue(mixed.get(), kCFNull);
    EXPECT_EQ(CFStringCreateByCombiningStrings(nullptr, mixed.get(), CFSTR(";")), nullptr);
}

TEST(String, FindsAll) {
    const auto found = own(CFStringCreateArrayWithFindResults(nullptr, CFSTR("abcabc"), CFSTR("B"),
                                                              CFRangeMake(0, 6), kCFCompareCaseInsensitive));
    ASSERT_EQ(CFArrayGetCount(found.get()), 2);
    EXPECT_EQ(static_cast<const CFRange*>(CFArrayGetValueAtIndex(found.get(), 1))->location, 4);
    EXPECT_EQ(CFStringCreateArrayWithFindResults(nullptr, CFSTR("a"), CFSTR("b"), CFRangeMake(0, 1), 0),
              nullptr);
}

TEST(String, ReadsNumbers) {
    EXPECT_EQ(CFStringGetDoubleValue(CFSTR(" -1.5e3x")), -1500.0);
    EXPECT_EQ(CFStringGetDoubleValue(CFSTR("1e")), 1.0);
    EXPECT_EQ(CFStringGetDoubleValue(CFSTR("1e999")), INFINITY);
    EXPECT_EQ(CFStringGetDoubleValue(CFSTR("-1e-999")), 0.0);
    EXPECT_EQ(CFStringGetDoubleValue(CFSTR("1,5")), 1.0);
    EXPECT_EQ(CFStringGetDoubleValue(CFSTR(".5")), 0.5);
    EXPECT_EQ(CFStringGetDoubleValue(CFSTR("nan")), 0.0);
    EXPECT_EQ(CFStringGetIntValue(CFSTR("0x10")), 0);
    EXPECT_EQ(CFStringGetIntValue(CFSTR("\t-2147483648")), std::numeric_limits<SInt32>::min());
}

TEST(String, UsesUnitsInPlaceAndGivesThemBack) {
    static int freed;
    freed = 0;
    CFAllocatorContext context{};
    context.deallocate = [](void*, void*) { ++freed; };
    const auto deallocator = own(CFAllocatorCreate(nullptr, &context));
    constexpr std::array<UniChar, 2> units = {'a', 0x4E2D};
    {
        const auto text =
            own(CFStringCreateWithCharactersNoCopy(nullptr, units.data(), 2, deallocator.get()));
        EXPECT_EQ(CFStringGetCharactersPtr(text.get()), units.data());
        const auto copy = own(CFStringCreateCopy(nullptr, text.get()));
        EXPECT_NE(CFStringGetCharactersPtr(copy.get()), units.data());
        EXPECT_EQ(freed, 0);
    }
    EXPECT_EQ(freed, 1);
    // Text that has to be converted is freed at once; text that is ill-formed stays the caller's.
    own(CFStringCreateWithCStringNoCopy(nullptr, "\xC3\xA9", kCFStringEncodingUTF8, deallocator.get()));
    EXPECT_EQ(freed, 2);
    EXPECT_EQ(CFStringCreateWithCStringNoCopy(nullptr, "\xFF", kCFStringEncodingUTF8, deallocator.get()),
              nullptr);
    EXPECT_EQ(freed, 2);
}

TEST(String, EncodesWhatIsNotAscii) {
    std::array<char, 64> buffer{};
    const auto text = string("\\ \xC3\xA9 \xE4\xB8\xAD");
    ASSERT_TRUE(CFStringGetCString(text.get(), buffer.data(), 64, kCFStringEncodingNonLossyASCII));
    EXPECT_STREQ(buffer.data(), "\\\\ \\351 \\u4e2d");
    const auto back = own(CFStringCreateWithCString(nullptr, buffer.data(), kCFStringEncodingNonLossyASCII));
    EXPECT_TRUE(CFEqual(text.get(), back.get()));
    const auto euro = string("\xE2\x82\xAC");
    ASSERT_TRUE(CFStringGetCString(euro.get(), buffer.data(), 64, kCFStringEncodingWindowsLatin1));
    EXPECT_EQ(static_cast<unsigned char>(buffer[0]), 0x80);
    EXPECT_EQ(CFStringCreateWithCString(nullptr, "\x81", kCFStringEncodingWindowsLatin1), nullptr);
    EXPECT_EQ(utf8_of(CFStringCreateWithCString(nullptr, "\x80\xE1", kCFStringEncodingNextStepLatin)),
              "\xC2\xA0\xC3\x86");
    EXPECT_FALSE(CFStringIsEncodingAvailable(kCFStringEncodingInvalidId));
    EXPECT_FALSE(CFStringGetCString(text.get(), buffer.data(), 64, 0x7777));
}

TEST(String, KnowsEncodingsByName) {
    EXPECT_EQ(CFStringConvertIANACharSetNameToEncoding(CFSTR("UTF-8")),
              CFStringEncoding{kCFStringEncodingUTF8});
    EXPECT_EQ(CFStringConvertIANACharSetNameToEncoding(CFSTR("ISO-8859-1")),
              CFStringEncoding{kCFStringEncodingISOLatin1});
    EXPECT_EQ(CFStringConvertIANACharSetNameToEncoding(CFSTR("bogus-8")), kCFStringEncodingInvalidId);
    EXPECT_EQ(utf8(CFStringConvertEncodingToIANACharSetName(kCFStringEncodingUTF16LE)), "utf-16le");
    EXPECT_EQ(CFStringConvertEncodingToIANACharSetName(0x7777), nullptr);
}

TEST(String, RefusesRangesOutside) {
    constexpr CFIndex most = std::numeric_limits<CFIndex>::max();
    EXPECT_EQ(CFStringCreateWithSubstring(nullptr, CFSTR("abc"), CFRangeMake(2, 2)), nullptr);
    EXPECT_EQ(CFStringCreateWithSubstring(nullptr, CFSTR("abc"), CFRangeMake(1, most)), nullptr);
    EXPECT_EQ(CFStringCreateWithSubstring(nullptr, CFSTR("abc"), CFRangeMake(-1, 1)), nullptr);
    EXPECT_EQ(utf8_of(CFStringCreateWithSubstring(nullptr, CFSTR("abc"), CFRangeMake(3, 0))), "");
    EXPECT_EQ(CFStringGetCharacterAtIndex(CFSTR("abc"), 3), 0);
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, 3, kCFStringEncodingUTF8, false), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(nullptr, nullptr, -1), nullptr);
    EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(static_cast<CFTypeRef>(kCFNull))), 0);
}

} // namespace
