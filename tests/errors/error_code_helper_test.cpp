#include "error_code_helper.h"

#include <boost/system/errc.hpp>
#include <boost/system/error_code.hpp>

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

namespace {

enum class sample { good, gone, odd };

boost::system::error_condition not_there() noexcept {
    return boost::system::errc::make_error_condition(boost::system::errc::no_such_file_or_directory);
}

constexpr std::array<QV::error_code_info<sample>, 3> sample_table{{
    {"Good", nullptr, sample::good},
    {"Gone", not_there, sample::gone},
    {"Odd", nullptr, sample::odd},
}};

class sample_category_type final : public QV::error_code_helper<sample_table> {
public:
    constexpr sample_category_type() noexcept : error_code_helper("sample", 0x1234) {}
};

constinit const sample_category_type sample_category;

TEST(ErrorCodeHelper, NamesItself) {
    EXPECT_STREQ(sample_category.name(), "sample");
}

TEST(ErrorCodeHelper, TakesMessagesFromTheTable) {
    EXPECT_EQ(sample_category.message(0), "Good");
    EXPECT_EQ(sample_category.message(2), "Odd");
}

TEST(ErrorCodeHelper, AnyOtherValueIsUnknown) {
    EXPECT_EQ(sample_category.message(3), "Unknown error 3");
    EXPECT_EQ(sample_category.message(-7), "Unknown error -7");
    EXPECT_EQ(sample_category.message(std::numeric_limits<int>::min()), "Unknown error -2147483648");
    EXPECT_EQ(sample_category.message(std::numeric_limits<int>::max()), "Unknown error 2147483647");
}

TEST(ErrorCodeHelper, WritesMessagesIntoABuffer) {
    std::array<char, 4> buffer{'x', 'x', 'x', 'x'};
    // Unknown to the compiler, which would warn of the cut that is tested here.
    volatile std::size_t length = 0;
    EXPECT_EQ(sample_category.message(1, buffer.data(), length), buffer.data());
    EXPECT_EQ(buffer[0], 'x');
    length = 1;
    EXPECT_STREQ(sample_category.message(1, buffer.data(), length), "");
    length = buffer.size();
    EXPECT_STREQ(sample_category.message(1, buffer.data(), length), "Gon");
}

TEST(ErrorCodeHelper, TheDefaultConditionIsTheSameValueUnlessTheRowSaysOtherwise) {
    EXPECT_EQ(sample_category.default_error_condition(2), boost::system::error_condition(2, sample_category));
    EXPECT_EQ(sample_category.default_error_condition(99),
              boost::system::error_condition(99, sample_category));
    EXPECT_EQ(sample_category.default_error_condition(-1),
              boost::system::error_condition(-1, sample_category));
    EXPECT_EQ(sample_category.default_error_condition(1), not_there());
    EXPECT_TRUE(boost::system::error_code(1, sample_category) ==
                boost::system::errc::no_such_file_or_directory);
}

TEST(ErrorCodeHelper, OnlyZeroHasNotFailed) {
    EXPECT_FALSE(sample_category.failed(0));
    EXPECT_TRUE(sample_category.failed(1));
    EXPECT_TRUE(sample_category.failed(-1));
    EXPECT_TRUE(sample_category.failed(99));
}

TEST(ErrorCodeHelper, IsTheSameCategoryWhereverItsIdentifierIs) {
    static const sample_category_type another;
    EXPECT_TRUE(sample_category == another);
    EXPECT_EQ(boost::system::error_code(1, sample_category), boost::system::error_code(1, another));
}

} // namespace
