#include "failing_allocator.h"

#include <CFAdapters/CFAdapters.h>

#include <gtest/gtest.h>

#include <exception>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

CF::Error sample(const char* description = "It broke") {
    return CF::Error(CF::String("com.example"), 7, CF::String(description), CF::Error(),
                     CF::String("It was old"));
}

TEST(CFAdaptersError, HoldsWhatItIsMadeOf) {
    const CF::Error inner = sample("Inner");
    const CF::Error error(CF::String("com.example"), -3, CF::String("Outer"), inner, CF::String("reason"));
    EXPECT_EQ(error.domain(), "com.example");
    EXPECT_EQ(error.code(), -3);
    EXPECT_EQ(error.localized_description(), "Outer");
    EXPECT_EQ(error.failure_reason(), "reason");
    EXPECT_EQ(error.underlying(), inner);
    EXPECT_EQ(error.user_info().size(), 3U);
}

TEST(CFAdaptersError, LeavesOutWhatIsEmptyButNotAnEmptyText) {
    const CF::Error bare(CF::String("com.example"), 1, CF::String(), CF::Error(), CF::String());
    EXPECT_TRUE(bare.user_info().empty());
    EXPECT_FALSE(bare.failure_reason());
    EXPECT_FALSE(bare.underlying());
    const CF::Error empty_texts(CF::String("com.example"), 1, CF::String(""), CF::Error(), CF::String(""));
    EXPECT_EQ(empty_texts.user_info().size(), 2U);
    EXPECT_EQ(empty_texts.failure_reason(), "");
}

TEST(CFAdaptersError, WithoutADomainIsEmpty) {
    EXPECT_FALSE(CF::Error(CF::String(), 1, CF::String("text"), CF::Error(), CF::String()));
}

TEST(CFAdaptersError, WhatIsTheDescriptionInUtf8) {
    EXPECT_STREQ(sample("Gerät \xF0\x9F\x93\xB1").what(), "Gerät \xF0\x9F\x93\xB1");
    const CF::Error bare(CF::String("com.example"), 1, CF::String(), CF::Error(), CF::String());
    EXPECT_STREQ(bare.what(), "The operation couldn\xE2\x80\x99t be completed. (com.example error 1.)");
}

TEST(CFAdaptersError, WhatOfAnEmptyErrorIsFixed) {
    EXPECT_STREQ(CF::Error().what(), "Invalid Error object");
    CF::Error moved_from = sample();
    const CF::Error taken = std::move(moved_from);
    EXPECT_STREQ(moved_from.what(), "Invalid Error object"); // NOLINT(bugprone-use-after-move)
    CF::Error reset = sample();
    EXPECT_STREQ(reset.what(), "It broke");
    reset.reset();
    EXPECT_STREQ(reset.what(), "Invalid Error object");
}

TEST(CFAdaptersError, WhatIsStableAndFollowsAssignment) {
    CF::Error error = sample("first");
    const char* text = error.what();
    EXPECT_EQ(error.what(), text);
    error = sample("second");
    EXPECT_STREQ(error.what(), "second");
    const CF::Error copy = error; // NOLINT(performance-unnecessary-copy-initialization)
    error = CF::Error();
    EXPECT_STREQ(copy.what(), "second");
    CF::Error& same = error = sample("third");
    EXPECT_STREQ(error.what(), "third");
    error = same;
    EXPECT_STREQ(error.what(), "third");
}

TEST(CFAdaptersError, IsCaughtAsStdException) {
    try {
        throw sample();
    } catch (const std::exception& caught) {
        EXPECT_STREQ(caught.what(), "It broke");
    }
    try {
        throw sample();
    } catch (const CF::Error& caught) {
        EXPECT_EQ(caught.code(), 7);
    }
}

TEST(CFAdaptersError, ManyThreadsMayAskWhatAtOnce) {
    for (int round = 0; round < 50; ++round) {
        const CF::Error error = sample();
        std::vector<const char*> texts(4);
        {
            std::vector<std::jthread> threads;
            for (const char*& text : texts)
                threads.emplace_back([&error, &text] { text = error.what(); });
        }
        EXPECT_EQ(std::set<const char*>(texts.begin(), texts.end()).size(), 1U);
        EXPECT_STREQ(texts[0], "It broke");
    }
}

TEST(CFAdaptersError, AnEmptyOneAnswersEverything) {
    const CF::Error none;
    EXPECT_FALSE(none.domain());
    EXPECT_EQ(none.code(), 0);
    EXPECT_FALSE(none.localized_description());
    EXPECT_FALSE(none.failure_reason());
    EXPECT_FALSE(none.user_info());
    EXPECT_FALSE(none.underlying());
    EXPECT_FALSE(none.is_friendly());
    EXPECT_EQ(none.description(), "(null)");
}

CF::Error with_user_info(const CF::Dictionary& user_info) {
    return CF::Error::adopt(CFErrorCreate(kCFAllocatorDefault, CFSTR("d"), 1, user_info.get()));
}

TEST(CFAdaptersError, AnUnderlyingObjectOfAnotherTypeIsNone) {
    const CF::Error error =
        with_user_info(CF::Dictionary::of({{kCFErrorUnderlyingErrorKey, CF::String("no")}}));
    EXPECT_TRUE(error);
    EXPECT_FALSE(error.underlying());
}

TEST(CFErrorIsFriendly, IsTrueOnlyForTheBooleanTrue) {
    EXPECT_TRUE(
        with_user_info(CF::Dictionary::of({{kCFErrorIsFriendlyKey, CF::Boolean(true)}})).is_friendly());
    EXPECT_FALSE(
        with_user_info(CF::Dictionary::of({{kCFErrorIsFriendlyKey, CF::Boolean(false)}})).is_friendly());
    EXPECT_FALSE(with_user_info(CF::Dictionary::of({{kCFErrorIsFriendlyKey, CF::Number(1)}})).is_friendly());
    EXPECT_FALSE(with_user_info(CF::Dictionary()).is_friendly());
    EXPECT_FALSE(CFErrorIsFriendly(nullptr));
    EXPECT_EQ(CF::String(kCFErrorIsFriendlyKey), "IsFriendly");
}

TEST(CFAdaptersError, MakingOneWithoutMemoryGivesAnErrorOrNone) {
    const CF::String domain("com.example.a.domain.of.some.length");
    const CF::String text("a description of some length, an object of its own");
    bool refused = true;
    for (int granted = 0; refused; ++granted) {
        ASSERT_LT(granted, 1000);
        const qv_test::failing_allocator allocator(granted);
        const CF::Error error(domain, 5, text, CF::Error(), text);
        if (error) {
            EXPECT_EQ(error.code(), 5);
            EXPECT_EQ(error.domain(), domain);
        }
        refused = allocator.refused();
        if (!refused) {
            EXPECT_EQ(error.user_info().size(), 2U);
        }
    }
}

} // namespace
