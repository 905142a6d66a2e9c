#pragma once

#include <gtest/gtest.h>

#include <string_view>
#include <typeinfo>

namespace qv_test {

/// Expects `call` to throw exactly an `Exception` with this text.
template <class Exception, class Call>
void expect_throw_with(std::string_view text, const Call& call) {
    try {
        call();
        ADD_FAILURE() << "nothing was thrown instead of: " << text;
    } catch (const Exception& error) {
        EXPECT_EQ(error.what(), text);
        EXPECT_TRUE(typeid(error) == typeid(Exception)) << text;
    }
}

} // namespace qv_test
