#include "value_helpers.h"

#include <QVSharedSupport/redact_passwords.h>

#include <gtest/gtest.h>

using test::number;
using test::text;

namespace {

const CF::String redacted(CFSTR("<redacted>"));

CF::AutoPointer redact(const CF::Type& value) {
    return QV::redact_passwords(value).get_redacted();
}

TEST(RedactPasswords, NothingStaysNothing) {
    EXPECT_FALSE(QV::redact_passwords(nullptr).get_redacted());
    EXPECT_FALSE(redact(CF::Dictionary()));
}

TEST(RedactPasswords, PlainValuesStayThemselves) {
    for (const CF::AutoPointer& value : {CF::AutoPointer(text("password")), CF::AutoPointer(number(1)),
                                         test::null_object(), test::url(), test::set()})
        EXPECT_EQ(redact(value).get(), value.get());
}

TEST(RedactPasswords, AnyCaseAndAnyPlaceInTheKeyCounts) {
    for (const char* key :
         {"password", "Password", "PASSWORD", "adminPASSWORD", "password_hint", "xPaSsWoRdx",
          // U+017F, the long s, is an s in any case.
          "pa\xC5\xBF\xC5\xBFword"}) {
        const CF::Dictionary dictionary = CF::Dictionary::of({{key, text("secret")}});
        EXPECT_EQ(redact(dictionary), CF::Dictionary::of({{key, redacted}})) << key;
    }
    for (const char* key : {"pass word", "passwor", "passphrase", "", "assword"}) {
        const CF::Dictionary dictionary = CF::Dictionary::of({{key, text("shown")}});
        EXPECT_EQ(redact(dictionary), dictionary) << key;
    }
}

TEST(RedactPasswords, WhateverTheTypeButBooleansNullsAndUrls) {
    const std::vector<CF::AutoPointer> hidden = {text("t"),
                                                 number(1),
                                                 CF::Date(1.0),
                                                 CF::Data(std::span<const std::byte>()),
                                                 CF::Array::of(number(1)),
                                                 CF::Dictionary::of({{"a", number(1)}}),
                                                 test::set()};
    for (const CF::AutoPointer& value : hidden)
        EXPECT_EQ(redact(CF::Dictionary::of({{"Password", value}})),
                  CF::Dictionary::of({{"Password", redacted}}))
            << value.description();
    for (const CF::AutoPointer& value :
         {CF::AutoPointer(CF::Boolean(true)), CF::AutoPointer(CF::Boolean(false)), test::null_object(),
          test::url()})
        EXPECT_EQ(redact(CF::Dictionary::of({{"Password", value}})),
                  CF::Dictionary::of({{"Password", value}}))
            << value.description();
}

TEST(RedactPasswords, EveryElementOfAnArrayIsWalked) {
    const auto user = [](const CF::Type& password) {
        return CF::Dictionary::of({{"name", text("n")}, {"password", password}});
    };
    EXPECT_EQ(redact(CF::Array::of(user(text("one")), number(5), CF::Array::of(user(text("two"))))),
              CF::Array::of(user(redacted), number(5), CF::Array::of(user(redacted))));
}

TEST(RedactPasswords, KeysThatAreNoStringsStay) {
    const CF::Dictionary dictionary = CF::Dictionary::of(
        {{number(1), CF::Dictionary::of({{"password", text("secret")}})}, {CF::Array::of(), text("t")}});
    EXPECT_EQ(redact(dictionary),
              CF::Dictionary::of(
                  {{number(1), CF::Dictionary::of({{"password", redacted}})}, {CF::Array::of(), text("t")}}));
}

TEST(RedactPasswords, TheInputIsUnchangedAndWalkedAnewByEachCall) {
    CF::MutableDictionary value = CF::MutableDictionary::create();
    value.set("password", text("secret"));
    const CF::Dictionary before = CF::Dictionary(value).copy();
    const QV::redact_passwords redactor(value);
    EXPECT_EQ(redactor.get_redacted(), CF::Dictionary::of({{"password", redacted}}));
    EXPECT_EQ(CF::Dictionary(value), before);
    value.set("more", number(1));
    EXPECT_EQ(redactor.get_redacted(), CF::Dictionary::of({{"password", redacted}, {"more", number(1)}}));
}

TEST(RedactPasswords, BorrowsAndCanBeAssigned) {
    const CF::Array first = CF::Array::of(number(1000001));
    const CF::Array second = CF::Array::of(number(1000002));
    const CFIndex references = CFGetRetainCount(first.get());
    QV::redact_passwords redactor(first);
    EXPECT_EQ(CFGetRetainCount(first.get()), references);
    redactor = QV::redact_passwords(second.get());
    EXPECT_EQ(redactor.get_redacted(), second);
}

TEST(RedactPasswords, DepthTakesNoStack) {
    const CF::AutoPointer deep = test::nested(200'000, CF::Dictionary::of({{"password", text("x")}}));
    EXPECT_EQ(test::depth(redact(deep)), 200'000U);
}

TEST(RedactPasswords, AContainerWithinItselfIsCutOff) {
    CF::MutableDictionary value = CF::MutableDictionary::create();
    value.set("self", CF::Array::of(value));
    value.set("password", text("secret"));
    EXPECT_EQ(redact(value),
              CF::Dictionary::of({{"self", CF::Array::of(text("<cycle>"))}, {"password", redacted}}));
    value.clear();
}

} // namespace
