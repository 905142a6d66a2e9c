#pragma once

#include "../helpers/captured_log.h"

#include <gmock/gmock.h>

#include <string>

namespace test {

/// Exactly one line must have been logged: that text, as an error of the logger "System".
inline void expect_one_error(const captured_log& log, const testing::Matcher<std::string>& text) {
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(static_cast<int>(lines.front().level), 4);
    EXPECT_EQ(lines.front().logger, "System");
    EXPECT_THAT(lines.front().text, text);
}

} // namespace test
