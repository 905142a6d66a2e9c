#include "assertion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <source_location>
#include <stdexcept>
#include <string>

namespace {

unsigned line_of_check = 0;

void check(int count) {
    line_of_check = std::source_location::current().line() + 1;
    QV::expect(count == 0, "data.count == 0");
}

std::string text_of(void (*function)(int), int argument) {
    try {
        function(argument);
    } catch (const std::invalid_argument& caught) {
        return caught.what();
    }
    return "nothing was thrown";
}

TEST(Assertion, ThatHoldsDoesNothing) {
    EXPECT_EQ(text_of(check, 0), "nothing was thrown");
}

TEST(Assertion, ThatFailsNamesFileLineFunctionAndText) {
    // The path is the compiler's, the signature is in its spelling.
    const std::string text = text_of(check, 1);
    EXPECT_THAT(text, testing::HasSubstr("assertion_test.cpp:" + std::to_string(line_of_check) + ":  "));
    EXPECT_THAT(text, testing::HasSubstr("check"));
    EXPECT_THAT(text, testing::EndsWith(" Assertion data.count == 0 failed."));
}

TEST(Assertion, TextIsJoinedFromItsParts) {
    const std::source_location here = std::source_location::current();
    try {
        QV::assertion_failed("a < b", here);
    } catch (const std::invalid_argument& caught) {
        EXPECT_EQ(caught.what(), std::string(here.file_name()) + ":" + std::to_string(here.line()) + ":  " +
                                     here.function_name() + " Assertion a < b failed.");
    }
    EXPECT_THROW(QV::assertion_failed("", here), std::invalid_argument);
}

} // namespace
