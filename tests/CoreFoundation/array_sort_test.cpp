// Sorting arrays, and searching sorted ones.
#include "objects.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

namespace {

// Arrays of plain numbers in the place of pointers.
const void* plain(std::intptr_t number) {
    return reinterpret_cast<const void*>(number);
}

std::intptr_t number_of(const void* value) {
    return reinterpret_cast<std::intptr_t>(value);
}

objects::owned<CFMutableArrayRef> array_of(const std::vector<std::intptr_t>& numbers) {
    auto made = objects::own(CFArrayCreateMutable(nullptr, 0, nullptr));
    for (const std::intptr_t number : numbers)
        CFArrayAppendValue(made.get(), plain(number));
    return made;
}

std::vector<std::intptr_t> numbers_of(CFArrayRef array) {
    std::vector<std::intptr_t> numbers;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
        numbers.push_back(number_of(CFArrayGetValueAtIndex(array, i)));
    return numbers;
}

// By all but the last decimal digit, so that different values can be equal.
CFComparisonResult by_tens(const void* a, const void* b, void* calls) {
    if (calls != nullptr) ++*static_cast<int*>(calls);
    const std::intptr_t first = number_of(a) / 10;
    const std::intptr_t second = number_of(b) / 10;
    return first < second ? kCFCompareLessThan : first > second ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

CFRange all_of(CFArrayRef array) {
    return CFRangeMake(0, CFArrayGetCount(array));
}

TEST(ArraySort, OrdersAndKeepsTheOrderOfEqualValues) {
    std::mt19937 random(7);
    for (const std::size_t size : {0U, 1U, 2U, 3U, 10U, 100U, 5000U}) {
        std::vector<std::intptr_t> numbers(size);
        for (std::intptr_t& number : numbers)
            number = static_cast<std::intptr_t>(random() % 2000);
        const auto array = array_of(numbers);
        CFArraySortValues(array.get(), all_of(array.get()), by_tens, nullptr);
        // By tens, and those of the same ten by where they stood.
        std::vector<std::pair<std::intptr_t, std::size_t>> expected;
        for (std::size_t i = 0; i < size; ++i)
            expected.emplace_back(numbers[i] / 10, i);
        std::sort(expected.begin(), expected.end());
        const std::vector<std::intptr_t> sorted = numbers_of(array.get());
        ASSERT_EQ(sorted.size(), size);
        for (std::size_t i = 0; i < size; ++i)
            EXPECT_EQ(sorted[i], numbers[expected[i].second]);
    }
}

TEST(ArraySort, OfARangeLeavesTheRest) {
    const auto array = array_of({90, 50, 30, 40, 10});
    CFArraySortValues(array.get(), CFRangeMake(1, 3), by_tens, nullptr);
    EXPECT_EQ(numbers_of(array.get()), (std::vector<std::intptr_t>{90, 30, 40, 50, 10}));
    CFArraySortValues(array.get(), CFRangeMake(3, 3), by_tens, nullptr);
    CFArraySortValues(array.get(), CFRangeMake(-1, 2), by_tens, nullptr);
    EXPECT_EQ(numbers_of(array.get()), (std::vector<std::intptr_t>{90, 30, 40, 50, 10})) << "no such range";
}

TEST(ArraySort, HandsItsContextOn) {
    int calls = 0;
    const auto array = array_of({20, 10});
    CFArraySortValues(array.get(), all_of(array.get()), by_tens, &calls);
    EXPECT_GT(calls, 0);
}

TEST(ArraySort, OfObjects) {
    const auto array = objects::array();
    for (const char* text : {"pear", "apple", "fig"})
        CFArrayAppendValue(array.get(), objects::string(text).get());
    const auto compare = [](const void* a, const void* b, void*) {
        return CFStringCompare(static_cast<CFStringRef>(a), static_cast<CFStringRef>(b), 0);
    };
    CFArraySortValues(array.get(), all_of(array.get()), compare, nullptr);
    const auto text_at = [&](CFIndex index) {
        return objects::utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array.get(), index)));
    };
    EXPECT_EQ(text_at(0), "apple");
    EXPECT_EQ(text_at(1), "fig");
    EXPECT_EQ(text_at(2), "pear");
}

TEST(ArrayBSearch, FindsWhatIsThereAndWhereItWouldBe) {
    const auto array = array_of({10, 20, 30, 30, 40});
    const auto find = [&](std::intptr_t number) {
        return CFArrayBSearchValues(array.get(), all_of(array.get()), plain(number), by_tens, nullptr);
    };
    EXPECT_EQ(find(10), 0);
    EXPECT_EQ(find(25), 1) << "equal by tens";
    EXPECT_TRUE(find(30) == 2 || find(30) == 3);
    EXPECT_EQ(find(40), 4);
    EXPECT_EQ(find(0), 0);
    EXPECT_EQ(find(99), 5);
    EXPECT_EQ(find(19), 0);
}

TEST(ArrayBSearch, OfARange) {
    const auto array = array_of({90, 10, 30, 50, 0});
    const CFRange middle = CFRangeMake(1, 3);
    EXPECT_EQ(CFArrayBSearchValues(array.get(), middle, plain(30), by_tens, nullptr), 2);
    EXPECT_EQ(CFArrayBSearchValues(array.get(), middle, plain(0), by_tens, nullptr), 1);
    EXPECT_EQ(CFArrayBSearchValues(array.get(), middle, plain(99), by_tens, nullptr), 4);
    EXPECT_EQ(CFArrayBSearchValues(array.get(), CFRangeMake(2, 0), plain(1), by_tens, nullptr), 2);
}

} // namespace
