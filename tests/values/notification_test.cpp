#include "value_helpers.h"

#include <QVSharedSupport/errors.h>
#include <QVSharedSupport/notification.h>
#include <QVSharedSupport/sanitize.h>

#include <boost/system/system_error.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using QV::SharedSupport::ErrorCode;
using test::number;
using test::text;
using namespace std::string_literals;

namespace {

std::vector<unsigned char> bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string text_of(const std::vector<unsigned char>& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// The text an exception has for its context and code: what Boost makes of them.
std::string error_text(const std::string& context, ErrorCode code) {
    return boost::system::system_error(code, context).what();
}

void expect_refused(std::string_view input) {
    try {
        QV::parse(bytes_of(input));
        ADD_FAILURE() << "accepted: " << input;
    } catch (const boost::system::system_error& error) {
        EXPECT_TRUE(error.code() == ErrorCode::FailedToParse);
        EXPECT_EQ(error.what(), error_text("QV::parse notification " + std::to_string(input.size()) + " " +
                                               std::string(input),
                                           ErrorCode::FailedToParse));
    }
}

void expect_not_written(const QV::notification& message) {
    try {
        QV::serialise(message);
        ADD_FAILURE() << "written: " << message.name;
    } catch (const boost::system::system_error& error) {
        EXPECT_TRUE(error.code() == ErrorCode::FailedToCreatePropertyList);
        EXPECT_EQ(error.what(),
                  "QV::serialise notification: Failed to create property list [SharedSupport error:4]"s);
    }
}

TEST(Notification, ComesBackAsItWas) {
    const CF::Dictionary contents = CF::Dictionary::of(
        {{"n", number(5)}, {"list", CF::Array::of(text("\xE2\x82\xAC"), CF::Boolean(true))}});
    const QV::notification back = QV::parse(QV::serialise({"caf\xC3\xA9", contents}));
    EXPECT_EQ(back.name, "caf\xC3\xA9");
    EXPECT_EQ(back.contents, contents);
}

TEST(Notification, LosesTheByteOrderMarkThatItsNameBeginsWith) {
    const std::string mark = "\xEF\xBB\xBF";
    const auto name_that_comes_back = [](const std::string& name) {
        return QV::parse(QV::serialise({name, {}})).name;
    };
    EXPECT_EQ(name_that_comes_back(mark + "n"), "n");
    EXPECT_EQ(name_that_comes_back(mark + mark + "n"), mark + "n");
    EXPECT_EQ(name_that_comes_back("n" + mark), "n" + mark);
}

TEST(Notification, IsAnXmlListOfTwoKeys) {
    const std::string written = text_of(QV::serialise({"n", CF::Dictionary::of({{"k", text("v")}})}));
    EXPECT_EQ(written, test::xml(CF::Dictionary::of(
                           {{"name", text("n")}, {"contents", CF::Dictionary::of({{"k", text("v")}})}})));
    EXPECT_THAT(written, testing::StartsWith("<?xml"));
    EXPECT_THAT(written, testing::EndsWith("</plist>\n"));
}

TEST(Notification, ErrorsInItArriveAsDictionaries) {
    const CF::Error error(text("d"), 1, text("what"), CF::Error(), text("why"));
    const CF::Dictionary contents = CF::Dictionary::of({{"error", error}});
    const QV::notification back = QV::parse(QV::serialise({"failed", contents}));
    EXPECT_EQ(back.contents, QV::sanitize_for_xml(contents, QV::on_error::throw_error));
}

TEST(Notification, WithoutContentsHasNone) {
    EXPECT_TRUE(QV::parse(QV::serialise({"n", CF::Dictionary()})).contents.empty());
    EXPECT_TRUE(QV::parse(QV::serialise({"n", CF::Dictionary::of({})})).contents.empty());
    EXPECT_EQ(QV::parse(QV::serialise({"", CF::Dictionary()})).name, "");
}

TEST(Notification, NamesKeepTheirNuls) {
    EXPECT_EQ(QV::parse(QV::serialise({"a\0b"s, CF::Dictionary()})).name, "a\0b"s);
}

TEST(Notification, WhatXmlCannotHoldIsNotWritten) {
    expect_not_written({"n", CF::Dictionary::of({{"site", test::url()}})});
    expect_not_written({"n", CF::Dictionary::of({{"deep", CF::Array::of(test::null_object())}})});
    expect_not_written({"n", CF::Dictionary::of({{number(1), text("v")}})});
    expect_not_written({"not UTF-8: \xFF", CF::Dictionary()});
    CF::MutableDictionary endless = CF::MutableDictionary::create();
    endless.set("self", endless);
    expect_not_written({"n", endless});
    endless.clear();
}

TEST(Notification, TheSendersContentsStayAsTheyWere) {
    const CF::Dictionary contents = CF::Dictionary::of({{"k", CF::Array::of(number(1))}});
    const std::string before = test::xml(contents);
    QV::serialise({"n", contents});
    EXPECT_EQ(test::xml(contents), before);
}

TEST(Notification, NothingIsRefused) {
    expect_refused("");
    try {
        QV::parse({});
        ADD_FAILURE();
    } catch (const boost::system::system_error& error) {
        EXPECT_EQ(error.what(), "QV::parse notification 0 : Failed to parse [SharedSupport error:5]"s);
    }
}

TEST(Notification, WhatIsNoNamedDictionaryIsRefused) {
    expect_refused("<plist><array/></plist>");
    expect_refused("<plist><dict/></plist>");
    expect_refused("<plist><dict><key>name</key><integer>1</integer></dict></plist>");
    expect_refused("<plist><dict><key>contents</key><dict/></dict></plist>");
    expect_refused("<plist><dict><key>name</key>");
    expect_refused("bplist00");
    expect_refused("\xFF\xFE and more");
    expect_refused("bytes\0with a NUL"s);
}

TEST(Notification, ContentsThatAreMissingOrNoDictionaryAreEmpty) {
    for (const char* contents :
         {"", "<key>contents</key><string>text</string>", "<key>contents</key><array/>"}) {
        const QV::notification message = QV::parse(bytes_of("<plist><dict><key>name</key><string>n</string>" +
                                                            std::string(contents) + "</dict></plist>"));
        EXPECT_EQ(message.name, "n");
        EXPECT_TRUE(message.contents.empty());
    }
}

TEST(Notification, IsReadInAnyFormat) {
    const CF::Dictionary expected =
        CF::Dictionary::of({{"name", text("n")}, {"contents", CF::Dictionary::of({{"k", text("v")}})}});
    const CF::Data binary = CF::Data::adopt(CFPropertyListCreateData(
        kCFAllocatorDefault, expected.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    const auto* first = reinterpret_cast<const unsigned char*>(binary.bytes().data());
    for (const std::vector<unsigned char>& bytes : {std::vector<unsigned char>(first, first + binary.size()),
                                                    bytes_of("{ name = n; contents = { k = v; }; }")}) {
        const QV::notification message = QV::parse(bytes);
        EXPECT_EQ(message.name, "n");
        EXPECT_EQ(message.contents, CF::Dictionary::of({{"k", text("v")}}));
    }
}

} // namespace
