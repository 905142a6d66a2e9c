#include "pipe_name.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <map>
#include <random>
#include <string>

namespace {

const std::wstring prefix = L"\\\\.\\pipe\\";
const std::wstring alphabet = L"0123456789abcdefghijklmnopqrstuvw";

TEST(pipe_name, is_the_prefix_and_twelve_characters_of_33) {
    std::mt19937 random(1);
    std::uniform_int_distribution<std::uint32_t> any;
    std::map<wchar_t, int> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::wstring name = QV::pipe::make_pipe_name([&] { return any(random); });
        ASSERT_EQ(name.size(), prefix.size() + 12);
        ASSERT_EQ(name.substr(0, prefix.size()), prefix);
        for (const wchar_t c : name.substr(prefix.size())) {
            ASSERT_NE(alphabet.find(c), std::wstring::npos);
            ++seen[c];
        }
    }
    EXPECT_EQ(seen.size(), alphabet.size());
}

TEST(pipe_name, maps_draws_by_their_high_part) {
    // The first draw of each of the 33 shares that is not rejected, and the last.
    const std::uint64_t range = std::uint64_t{1} << 32;
    for (std::uint64_t value = 0; value < 33; ++value) {
        const auto first = static_cast<std::uint32_t>((value * range + 32) / 33 + 1);
        const auto last = static_cast<std::uint32_t>(((value + 1) * range - 1) / 33);
        for (const std::uint32_t draw : {first, last}) {
            const std::wstring name = QV::pipe::make_pipe_name([=] { return draw; });
            EXPECT_EQ(name, prefix + std::wstring(12, alphabet[value]));
        }
    }
}

TEST(pipe_name, draws_again_when_a_draw_would_favour_a_character) {
    // 0 * 33 leaves a low half of 0, which is below 4; 2^32 is 4 mod 33, so one number leaves each of 1, 2
    // and 3.
    std::deque<std::uint32_t> rejected = {0};
    for (std::uint64_t low = 1; low < 4; ++low) {
        for (std::uint64_t high = 0; high < 33; ++high) {
            const std::uint64_t product = high << 32 | low;
            if (product % 33 == 0) rejected.push_back(static_cast<std::uint32_t>(product / 33));
        }
    }
    ASSERT_EQ(rejected.size(), 4u);
    const std::size_t rejects = rejected.size();
    std::size_t draws = 0;
    const std::wstring name = QV::pipe::make_pipe_name([&] {
        ++draws;
        if (rejected.empty()) return 0xFFFFFFFFu;
        const std::uint32_t next = rejected.front();
        rejected.pop_front();
        return next;
    });
    EXPECT_EQ(name, prefix + std::wstring(12, L'w'));
    EXPECT_EQ(draws, 12 + rejects);
}

TEST(pipe_name, accepts_the_smallest_low_half_that_is_fair) {
    // The draw whose product has a low half of exactly 4.
    std::uint32_t fair = 0;
    for (std::uint64_t high = 0; high < 33; ++high) {
        const std::uint64_t product = high << 32 | 4u;
        if (product % 33 == 0) fair = static_cast<std::uint32_t>(product / 33);
    }
    ASSERT_NE(fair, 0u);
    int draws = 0;
    (void)QV::pipe::make_pipe_name([&] {
        ++draws;
        return fair;
    });
    EXPECT_EQ(draws, 12);
}

} // namespace
