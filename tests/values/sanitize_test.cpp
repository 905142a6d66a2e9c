#include "value_helpers.h"

#include <QVSharedSupport/error_dictionary.h>
#include <QVSharedSupport/sanitize.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

using QV::on_error;
using QV::sanitize_for_xml;
using test::number;
using test::text;

namespace {

template <class Function>
std::string message_of(Function function) {
    try {
        function();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

TEST(SanitizeForXml, TheValuesOfItsParameterAreFixed) {
    EXPECT_EQ(static_cast<int>(on_error::leave_out), 0);
    EXPECT_EQ(static_cast<int>(on_error::throw_error), 1);
}

TEST(SanitizeForXml, PlainValuesStayThemselves) {
    const std::vector<CF::AutoPointer> values = {text("t"), number(1), CF::Boolean(true), CF::Date(1.5),
                                                 CF::Data(std::span<const std::byte>())};
    for (const CF::AutoPointer& value : values) {
        const CF::AutoPointer clean = sanitize_for_xml(value, on_error::throw_error);
        EXPECT_EQ(clean.get(), value.get());
    }
}

TEST(SanitizeForXml, NothingGivesNothingOrThrows) {
    EXPECT_FALSE(sanitize_for_xml(nullptr, on_error::leave_out));
    EXPECT_FALSE(sanitize_for_xml(nullptr, on_error::give_nothing));
    EXPECT_EQ(message_of([] { sanitize_for_xml(nullptr, on_error::throw_error); }),
              "Could not convert to xml plist");
    EXPECT_FALSE(sanitize_for_xml(CF::String(), on_error::leave_out));
}

TEST(SanitizeForXml, WhatIsNoPropertyListGivesNothingOrThrows) {
    for (const CF::AutoPointer& value : {test::url(), test::null_object(), test::set()}) {
        EXPECT_FALSE(sanitize_for_xml(value, on_error::leave_out));
        EXPECT_FALSE(sanitize_for_xml(value, on_error::give_nothing));
        EXPECT_FALSE(sanitize_for_xml(value, static_cast<on_error>(-9)));
        EXPECT_EQ(message_of([&] { sanitize_for_xml(value, on_error::throw_error); }),
                  "Could not convert to xml plist");
    }
}

TEST(SanitizeForXml, AnArrayLosesWhatCannotBeConverted) {
    const CF::Array array = CF::Array::of(text("a"), test::null_object(), number(1));
    EXPECT_EQ(sanitize_for_xml(array, on_error::leave_out), CF::Array::of(text("a"), number(1)));
    EXPECT_FALSE(sanitize_for_xml(array, on_error::give_nothing));
    EXPECT_FALSE(sanitize_for_xml(array, static_cast<on_error>(3)));
    EXPECT_EQ(message_of([&] { sanitize_for_xml(array, on_error::throw_error); }),
              "Could not convert to xml plist");
    EXPECT_EQ(array.size(), 3U) << "the input stays as it was";
}

TEST(SanitizeForXml, ADictionaryLosesWhatCannotBeConverted) {
    const CF::Dictionary dictionary = CF::Dictionary::of({{"site", test::url()}, {"n", number(1)}});
    EXPECT_EQ(sanitize_for_xml(dictionary, on_error::leave_out), CF::Dictionary::of({{"n", number(1)}}));
    EXPECT_FALSE(sanitize_for_xml(dictionary, on_error::give_nothing));
    EXPECT_EQ(message_of([&] { sanitize_for_xml(dictionary, on_error::throw_error); }),
              "Could not convert to xml plist");
    EXPECT_EQ(dictionary.size(), 2U);
}

TEST(SanitizeForXml, AKeyThatIsNoStringIsLeftOutOrSpoilsItsDictionary) {
    const CF::Dictionary dictionary = CF::Dictionary::of({{number(1), text("one")}, {"two", number(2)}});
    EXPECT_EQ(sanitize_for_xml(dictionary, on_error::leave_out), CF::Dictionary::of({{"two", number(2)}}));
    EXPECT_FALSE(sanitize_for_xml(dictionary, on_error::give_nothing));
    EXPECT_THROW(sanitize_for_xml(dictionary, on_error::throw_error), std::runtime_error);
}

TEST(SanitizeForXml, AFailureDeepDownIsLeftOutThereOnly) {
    const CF::AutoPointer deep = CF::Dictionary::of(
        {{"list", CF::Array::of(CF::Dictionary::of({{"u", test::url()}, {"k", text("v")}}), number(2))}});
    EXPECT_EQ(
        sanitize_for_xml(deep, on_error::leave_out),
        CF::Dictionary::of({{"list", CF::Array::of(CF::Dictionary::of({{"k", text("v")}}), number(2))}}));
    EXPECT_FALSE(sanitize_for_xml(deep, on_error::give_nothing));
}

TEST(SanitizeForXml, ErrorsBecomeTheirDictionaries) {
    const CF::Error error(text("d"), 3, text("what"), CF::Error(), text("why"));
    EXPECT_EQ(sanitize_for_xml(error, on_error::throw_error), QV::DictionaryFromError(error));
    EXPECT_EQ(sanitize_for_xml(CF::Array::of(error), on_error::throw_error),
              CF::Array::of(QV::DictionaryFromError(error)));
}

TEST(SanitizeForXml, ContainersAreNewAndTheInputIsUnchanged) {
    const CF::AutoPointer value =
        test::parsed("{ a = (1, 2, (3)); b = { c = <00ff>; }; password = secret; }");
    const std::string before = test::xml(value);
    const CF::AutoPointer clean = sanitize_for_xml(value, on_error::throw_error);
    EXPECT_EQ(clean, value);
    EXPECT_NE(clean.get(), value.get());
    EXPECT_NE(CF::Dictionary(clean)["a"].get(), CF::Dictionary(value)["a"].get());
    // The result belongs to the caller, who may go on building it.
    CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(clean.get())), CFSTR("new"),
                         CFSTR("entry"));
    EXPECT_TRUE(CF::Dictionary(clean).contains("new"));
    EXPECT_EQ(test::xml(value), before);
}

TEST(SanitizeForXml, DepthTakesNoStack) {
    const CF::AutoPointer deep = test::nested(200'000, text("core"));
    EXPECT_EQ(test::depth(sanitize_for_xml(deep, on_error::throw_error)), 200'000U);
}

TEST(SanitizeForXml, AContainerWithinItselfCannotBeConverted) {
    CF::MutableArray array = CF::MutableArray::create();
    array.append(number(1));
    array.append(array);
    EXPECT_EQ(sanitize_for_xml(array, on_error::leave_out), CF::Array::of(number(1)));
    EXPECT_FALSE(sanitize_for_xml(array, on_error::give_nothing));
    EXPECT_THROW(sanitize_for_xml(array, on_error::throw_error), std::runtime_error);
    array.clear();
}

TEST(SanitizeForXml, ASharedContainerIsCopiedWhereverItOccurs) {
    const CF::Array shared = CF::Array::of(number(1));
    // Many more than a written list may hold of one and the same container.
    const CF::Array value = CF::Array::from(std::vector<CF::AutoPointer>(5'000, shared));
    const CF::AutoPointer clean = sanitize_for_xml(value, on_error::throw_error);
    EXPECT_EQ(clean, value);
    EXPECT_NE(test::xml(clean), "");
}

TEST(SanitizeForXml, ContainersThatStandForMoreThanAnyMemoryHoldsAreCopiedShared) {
    CF::AutoPointer doubled = text("core");
    for (int level = 0; level < 200; ++level)
        doubled = CF::Array::of(doubled, doubled);
    const CF::AutoPointer clean = sanitize_for_xml(doubled, on_error::throw_error);
    EXPECT_EQ(test::depth(clean), 200U);
}

} // namespace
