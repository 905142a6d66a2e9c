#include "value_helpers.h"

#include <QVSharedSupport/error_dictionary.h>
#include <QVSharedSupport/errors.h>

#include <gtest/gtest.h>

#include <limits>
#include <utility>

using test::number;
using test::text;

namespace {

CF::Error error(std::string_view domain, CFIndex code, std::string_view description,
                const CF::Error& underlying = {}, std::string_view reason = "reason") {
    return CF::Error(text(domain), code, text(description), underlying, text(reason));
}

/// An error with nothing but domain and code.
CF::Error bare_error(const char* domain, CFIndex code) {
    return CF::Error::adopt(CFErrorCreate(kCFAllocatorDefault, text(domain).get(), code, nullptr));
}

TEST(DictionaryFromError, OfNoErrorIsNoDictionary) {
    EXPECT_FALSE(QV::DictionaryFromError(CF::Error()));
}

TEST(DictionaryFromError, HasFiveEntries) {
    const CF::Dictionary dictionary = QV::DictionaryFromError(error("d\xC3\xA4", -7, "what", {}, "why"));
    EXPECT_EQ(dictionary.size(), 5U);
    EXPECT_EQ(dictionary.get<CF::String>("Domain"), "d\xC3\xA4");
    EXPECT_EQ(dictionary.get<CF::Number>("Code"), number(-7));
    EXPECT_EQ(dictionary.get<CF::String>("Description"), "what");
    EXPECT_EQ(dictionary.get<CF::String>("FailureReason"), "why");
    EXPECT_EQ(dictionary.get<CF::Boolean>("IsFriendly"), CF::Boolean(false));
    EXPECT_FALSE(dictionary.contains("UnderlyingError"));
}

TEST(DictionaryFromError, AnEmptyDescriptionAndAMissingReasonAreEmptyTexts) {
    const CF::Dictionary dictionary =
        QV::DictionaryFromError(CF::Error(text("d"), 1, text(""), CF::Error(), CF::String()));
    EXPECT_EQ(dictionary.get<CF::String>("Description"), "");
    EXPECT_EQ(dictionary.get<CF::String>("FailureReason"), "");
}

TEST(DictionaryFromError, AnErrorWithoutDescriptionHasTheOneCoreFoundationMakes) {
    const CF::Error bare = bare_error("d", 5);
    const CF::Dictionary dictionary = QV::DictionaryFromError(bare);
    EXPECT_EQ(dictionary.get<CF::String>("Description"), bare.localized_description());
    EXPECT_EQ(dictionary.get<CF::String>("FailureReason"), "");
}

TEST(DictionaryFromError, SaysWhetherItIsFriendly) {
    const CF::Dictionary info = CF::Dictionary::of({{kCFErrorIsFriendlyKey, CF::Boolean(true)}});
    const CF::Error friendly =
        CF::Error::adopt(CFErrorCreate(kCFAllocatorDefault, CFSTR("d"), 1, info.get()));
    const CF::Dictionary dictionary = QV::DictionaryFromError(friendly);
    EXPECT_EQ(dictionary.get<CF::Boolean>("IsFriendly"), CF::Boolean(true));
    EXPECT_FALSE(QV::ErrorFromDictionary(dictionary).is_friendly()) << "the receiver decides";
}

TEST(DictionaryFromError, KeepsTheWidestCodes) {
    for (const CFIndex code : {std::numeric_limits<CFIndex>::min(), std::numeric_limits<CFIndex>::max()}) {
        const CF::Dictionary dictionary = QV::DictionaryFromError(bare_error("d", code));
        EXPECT_EQ(dictionary.get<CF::Number>("Code").exact<CFIndex>(), code);
        EXPECT_EQ(QV::ErrorFromDictionary(dictionary).code(), code);
    }
}

TEST(DictionaryFromError, AnUnderlyingObjectThatIsNoErrorIsLeftOut) {
    const CF::Dictionary info = CF::Dictionary::of({{kCFErrorUnderlyingErrorKey, text("impostor")}});
    const CF::Error impostor =
        CF::Error::adopt(CFErrorCreate(kCFAllocatorDefault, CFSTR("d"), 1, info.get()));
    EXPECT_FALSE(QV::DictionaryFromError(impostor).contains("UnderlyingError"));
}

TEST(DictionaryFromError, IsAPropertyList) {
    const CF::Dictionary dictionary = QV::DictionaryFromError(error("d", 1, "a", error("e", 2, "b")));
    EXPECT_EQ(test::parsed(test::xml(dictionary)), dictionary);
}

TEST(ErrorFromDictionary, OfNoDictionaryIsNoError) {
    EXPECT_FALSE(QV::ErrorFromDictionary(CF::Dictionary()));
}

TEST(ErrorFromDictionary, GivesBackAllButFriendliness) {
    const CF::Error inner = error("inner", 2, "inner what", {}, "inner why");
    const CF::Error outer = error("outer", 1, "outer what", inner, "outer why");
    const CF::Error back = QV::ErrorFromDictionary(QV::DictionaryFromError(outer));
    EXPECT_EQ(back, outer);
    EXPECT_EQ(back.underlying(), inner);
    EXPECT_FALSE(back.user_info().contains(kCFErrorIsFriendlyKey));
}

TEST(ErrorFromDictionary, WhatIsMissingOrMistypedIsMissing) {
    const CF::Dictionary wrong = CF::Dictionary::of({{"Domain", number(1)},
                                                     {"Code", text("1")},
                                                     {"Description", number(1)},
                                                     {"FailureReason", CF::Array::of()},
                                                     {"IsFriendly", text("yes")},
                                                     {"UnderlyingError", text("none")}});
    for (const CF::Dictionary& dictionary : {wrong, CF::Dictionary::of({})}) {
        const CF::Error made = QV::ErrorFromDictionary(dictionary);
        ASSERT_TRUE(made);
        EXPECT_EQ(made.domain(), "");
        EXPECT_EQ(made.code(), 0);
        EXPECT_EQ(made.user_info().size(), 0U);
    }
}

TEST(ErrorFromDictionary, AnEmptyUnderlyingDictionaryCountsAsNone) {
    const CF::Error made = QV::ErrorFromDictionary(
        CF::Dictionary::of({{"Domain", text("d")}, {"UnderlyingError", CF::Dictionary::of({})}}));
    EXPECT_TRUE(made);
    EXPECT_FALSE(made.underlying());
}

TEST(ErrorFromDictionary, ADictionaryThatHoldsItselfEnds) {
    CF::MutableDictionary first = CF::MutableDictionary::create();
    CF::MutableDictionary second = CF::MutableDictionary::create();
    first.set("Code", number(1));
    first.set("UnderlyingError", second);
    second.set("Code", number(2));
    second.set("UnderlyingError", first);
    const CF::Error made = QV::ErrorFromDictionary(first);
    EXPECT_EQ(made.code(), 1);
    EXPECT_EQ(made.underlying().code(), 2);
    EXPECT_FALSE(made.underlying().underlying());
    second.clear();
}

TEST(ErrorDictionary, AChainOfManyThousandsIsFollowedToItsEnd) {
    constexpr int length = 50'000;
    CF::Error chain;
    for (int code = 0; code < length; ++code)
        chain = error("chain", code, "what", chain);
    const CF::Dictionary dictionary = QV::DictionaryFromError(chain);
    CF::Error back = QV::ErrorFromDictionary(dictionary);
    int seen = 0;
    for (; back; back = back.underlying())
        EXPECT_EQ(back.code(), length - 1 - seen++);
    EXPECT_EQ(seen, length);
}

} // namespace
