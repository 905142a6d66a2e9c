#include "performance_time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>

namespace {

using QV::SharedSupport::PowerEvents::performance_time;
using namespace std::chrono_literals;

constexpr std::int64_t ten_mhz = 10'000'000;
constexpr std::int64_t twenty_four_mhz = 24'000'000;

TEST(performance_time, is_exact_at_10_mhz) {
    EXPECT_EQ(performance_time(0, ten_mhz), 0ns);
    EXPECT_EQ(performance_time(1, ten_mhz), 100ns);
    EXPECT_EQ(performance_time(ten_mhz - 1, ten_mhz), 1s - 100ns);
    EXPECT_EQ(performance_time(ten_mhz, ten_mhz), 1s);
    // As late as nanoseconds can tell, 292 years: every count is 100 of them.
    constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max() / 100;
    EXPECT_EQ(performance_time(last, ten_mhz).count(), last * 100);
}

TEST(performance_time, is_exact_at_24_mhz) {
    EXPECT_EQ(performance_time(1, twenty_four_mhz), 41ns); // and two thirds
    EXPECT_EQ(performance_time(2, twenty_four_mhz), 83ns); // and a third
    EXPECT_EQ(performance_time(3, twenty_four_mhz), 125ns);
    EXPECT_EQ(performance_time(twenty_four_mhz - 1, twenty_four_mhz), 999'999'958ns);
    EXPECT_EQ(performance_time(twenty_four_mhz, twenty_four_mhz), 1s);
    // After a hundred years three counts are still 125 ns.
    constexpr std::int64_t century = 100LL * 365 * 24 * 3600;
    constexpr std::int64_t late = century * twenty_four_mhz;
    EXPECT_EQ(performance_time(late, twenty_four_mhz), std::chrono::seconds(century));
    EXPECT_EQ(performance_time(late + 3, twenty_four_mhz), std::chrono::seconds(century) + 125ns);
    EXPECT_EQ(performance_time(late - 3, twenty_four_mhz), std::chrono::seconds(century) - 125ns);
}

TEST(performance_time, rounds_down_at_other_frequencies) {
    EXPECT_EQ(performance_time(1, 3), 333'333'333ns);
    EXPECT_EQ(performance_time(5, 3), 1'666'666'666ns);
    EXPECT_EQ(performance_time(7, 1), 7s);
    EXPECT_EQ(performance_time(3'579'545, 3'579'545), 1s);
    // A counter as fast as a processor, at its last count before the second.
    EXPECT_EQ(performance_time(8'999'999'999, 9'000'000'000), 999'999'999ns);
}

TEST(performance_time, never_goes_back) {
    for (const std::int64_t frequency : {ten_mhz, twenty_four_mhz, std::int64_t{3'579'545}}) {
        auto before = performance_time(frequency * 1000 - 500, frequency);
        for (std::int64_t count = frequency * 1000 - 499; count < frequency * 1000 + 500; ++count) {
            const auto now = performance_time(count, frequency);
            ASSERT_GT(now, before) << count << " at " << frequency;
            before = now;
        }
    }
}

} // namespace
