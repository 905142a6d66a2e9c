#include <QVSharedSupport/software_version.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

using QV::make_software_version;
using QV::software_version;
using QV::to_string;
using namespace std::string_view_literals;

static_assert(std::is_trivially_copyable_v<software_version>);
static_assert(sizeof(software_version) == 32);
static_assert(software_version() == software_version{-1, -1, 0, 0});
static_assert(noexcept(make_software_version("")) && noexcept(to_string({})));

struct reading {
    std::string_view text;
    software_version version;
};

class software_version_reading : public testing::TestWithParam<reading> {};

TEST_P(software_version_reading, gives) {
    const software_version got = make_software_version(GetParam().text);
    EXPECT_EQ(got, GetParam().version) << "\"" << GetParam().text << "\" was read as " << to_string(got);
}

constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();

INSTANTIATE_TEST_SUITE_P(
    texts, software_version_reading,
    testing::Values(
        reading{"", {}}, reading{std::string_view(), {}}, reading{"abc", {}}, reading{"5", {5, -1, 0, 0}},
        reading{"5.", {5, -1, 0, 0}}, reading{"1.2.3.4.5", {1, 2, 3, 4}}, reading{"1.2.3.4", {1, 2, 3, 4}},
        reading{"1.2.3", {1, 2, 3, 0}}, reading{"1.2.", {1, 2, 0, 0}}, reading{"1.2beta", {1, 2, 0, 0}},
        reading{"-3.1", {-3, 1, 0, 0}}, reading{" 1.2", {}}, reading{"+1.2", {}}, reading{"-", {}},
        reading{"--1", {}}, reading{".1", {}}, reading{"1..2", {1, -1, 0, 0}}, reading{"1. 2", {1, -1, 0, 0}},
        reading{"1 .2", {1, -1, 0, 0}}, reading{"1,2", {1, -1, 0, 0}}, reading{"1.-2.-3.-4", {1, -2, -3, -4}},
        reading{"0.0.0.0", {0, 0, 0, 0}}, reading{"007.08", {7, 8, 0, 0}}, reading{"0x10.1", {0, -1, 0, 0}},
        reading{"1.2\0.3"sv, {1, 2, 0, 0}},
        reading{"\0"
                "1.2"sv,
                {}},
        reading{"1.2.3.4 (build 5)", {1, 2, 3, 4}}, reading{"9223372036854775807.0", {highest, 0, 0, 0}},
        reading{"-9223372036854775808.1", {lowest, 1, 0, 0}}, reading{"9223372036854775808.1", {}},
        reading{"1.99999999999999999999.3", {1, -1, 0, 0}},
        reading{"1.2.99999999999999999999.4", {1, 2, 0, 0}},
        reading{"1.2.3.99999999999999999999", {1, 2, 3, 0}},
        reading{"\xC2\xA0"
                "1.2",
                {}}));

TEST(software_version, reads_no_further_than_the_view) {
    EXPECT_EQ(make_software_version("1.2345"sv.substr(0, 4)), (software_version{1, 23, 0, 0}));
    EXPECT_EQ(make_software_version("12.5"sv.substr(0, 2)), (software_version{12, -1, 0, 0}));
}

TEST(software_version, reads_a_million_digits) {
    EXPECT_EQ(make_software_version(std::string(1'000'000, '9')), software_version());
    EXPECT_EQ(make_software_version(std::string(1'000'000, '0') + "7.1"), (software_version{7, 1, 0, 0}));
}

TEST(software_version, is_written_as_short_as_it_can_be) {
    EXPECT_EQ(to_string({1, 2, 0, 0}), "1.2");
    EXPECT_EQ(to_string({1, 2, 3, 0}), "1.2.3");
    EXPECT_EQ(to_string({1, 2, 0, 4}), "1.2.0.4");
    EXPECT_EQ(to_string({1, 2, 3, 4}), "1.2.3.4");
    EXPECT_EQ(to_string({}), "-1.-1");
    EXPECT_EQ(to_string({5, -1, 0, 0}), "5.-1");
    EXPECT_EQ(to_string({0, 0, -1, 0}), "0.0.-1");
    EXPECT_EQ(to_string({lowest, lowest, lowest, highest}),
              "-9223372036854775808.-9223372036854775808.-9223372036854775808.9223372036854775807");
}

TEST(software_version, is_ordered_number_by_number) {
    EXPECT_LT(make_software_version("9.10"), make_software_version("10.0"));
    EXPECT_LT(make_software_version("1.9"), make_software_version("1.10"));
    EXPECT_LT(make_software_version("1.2"), make_software_version("1.2.0.1"));
    EXPECT_LT(software_version(), make_software_version("0"));
    EXPECT_EQ(make_software_version("1.2"), make_software_version("1.2.0.0"));
}

} // namespace
