#include "failing_allocator.h"

#include <CFAdapters/CFAdapters.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ranges>
#include <set>
#include <string>
#include <vector>

namespace {

static_assert(std::ranges::random_access_range<CF::Array>);
static_assert(std::ranges::sized_range<CF::Array>);
static_assert(std::ranges::random_access_range<CF::MutableArray>);
static_assert(std::ranges::view<CF::ArrayView<CF::String>>);
static_assert(std::ranges::forward_range<CF::Dictionary>);

CF::Array mixed() {
    return CF::Array::of(CF::String("a"), CF::Number(2), CF::String("c"));
}

TEST(CFAdaptersArray, IsIndexedAndSafeOutside) {
    const CF::Array array = mixed();
    EXPECT_EQ(array.size(), 3U);
    EXPECT_EQ(array[0], CF::String("a"));
    EXPECT_EQ(array.get<CF::Number>(1).value<int>(), 2);
    EXPECT_FALSE(array.get<CF::String>(1));
    EXPECT_FALSE(array[3]);
    EXPECT_FALSE(array[static_cast<std::size_t>(-1)]);
}

TEST(CFAdaptersArray, WalksOverItsElements) {
    std::vector<CF::AutoPointer> seen;
    for (const auto& element : mixed())
        seen.push_back(element);
    EXPECT_EQ(seen, (std::vector<CF::AutoPointer>{CF::String("a"), CF::Number(2), CF::String("c")}));
}

TEST(CFAdaptersArray, WalksAsOneTypeEvenOverATemporary) {
    std::vector<std::string> seen;
    // The view owns a reference: without one this loop would read a freed array.
    for (const CF::String& element : mixed().as<CF::String>())
        seen.push_back(element ? element.to_string() : "-");
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "-", "c"}));
}

TEST(CFAdaptersArray, WorksWithAlgorithmsAndViews) {
    const CF::Array array = CF::Array::of(CF::Number(3), CF::Number(1), CF::Number(2));
    const auto numbers = array.as<CF::Number>();
    const auto most =
        std::ranges::max_element(numbers, {}, [](const CF::Number& number) { return number.value<int>(); });
    EXPECT_EQ(most - numbers.begin(), 0);
    auto doubled = numbers | std::views::reverse |
                   std::views::transform([](const CF::Number& number) { return 2 * number.value<int>(); });
    EXPECT_EQ(std::vector<int>(doubled.begin(), doubled.end()), (std::vector<int>{4, 2, 6}));
    EXPECT_EQ((*(array.begin() + 2)), CF::Number(2));
    EXPECT_EQ((1 + array.begin())[1], CF::Number(2));
    EXPECT_EQ(array.end() - array.begin(), 3);
}

TEST(CFAdaptersArray, AnEmptyWrapperHasNoElements) {
    const CF::Array none;
    EXPECT_EQ(none.size(), 0U);
    EXPECT_TRUE(none.empty());
    EXPECT_TRUE(none.begin() == none.end());
    EXPECT_TRUE(none.as<CF::String>().empty());
    EXPECT_FALSE(none[0]);
    EXPECT_FALSE(none.contains(CF::Number(1)));
    EXPECT_FALSE(none.copy());
    EXPECT_FALSE(CF::MutableArray::copy_of(none));
}

TEST(CFAdaptersArray, OfNothingIsAnArrayAndOfAnEmptyWrapperIsNone) {
    EXPECT_TRUE(CF::Array::of());
    EXPECT_TRUE(CF::Array::of().empty());
    EXPECT_FALSE(CF::Array::of(CF::Number(1), CF::String()));
    EXPECT_TRUE(CF::Array::from(std::vector<CF::String>()));
    EXPECT_FALSE(CF::Array::from(std::vector<CF::String>(1)));
    EXPECT_EQ(CF::Array::from(std::vector<CF::String>{CF::String("a")}), CF::Array::of(CF::String("a")));
}

TEST(CFAdaptersArray, FindsByValue) {
    EXPECT_TRUE(mixed().contains(CF::String("c")));
    EXPECT_FALSE(mixed().contains(CF::String("b")));
    EXPECT_FALSE(mixed().contains(CF::String()));
}

TEST(CFAdaptersMutableArray, Changes) {
    CF::MutableArray array = CF::MutableArray::create();
    EXPECT_TRUE(array.append(CF::String("a")));
    EXPECT_TRUE(array.append(CF::String("b")));
    EXPECT_TRUE(array.set(0, CF::Number(1)));
    EXPECT_EQ(array, CF::Array::of(CF::Number(1), CF::String("b")));
    EXPECT_TRUE(array.remove(0));
    EXPECT_EQ(array, CF::Array::of(CF::String("b")));
    array.clear();
    EXPECT_TRUE(array.empty());
}

TEST(CFAdaptersMutableArray, RefusesWhatIsNotThere) {
    CF::MutableArray array = CF::MutableArray::create();
    EXPECT_FALSE(array.append(CF::String()));
    EXPECT_FALSE(array.set(0, CF::Number(1)));
    EXPECT_FALSE(array.remove(0));
    CF::MutableArray none;
    EXPECT_FALSE(none.append(CF::Number(1)));
    EXPECT_FALSE(none.set(0, CF::Number(1)));
    none.clear();
    EXPECT_FALSE(none);
}

TEST(CFAdaptersMutableArray, SharesOrCopies) {
    CF::MutableArray array = CF::MutableArray::copy_of(mixed());
    const CF::Array shared = array;
    const CF::Array copy = shared.copy();
    array.append(CF::Number(4));
    EXPECT_EQ(shared.size(), 4U);
    EXPECT_EQ(copy.size(), 3U);
    const CF::Array taken = std::move(array);
    EXPECT_FALSE(array); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(taken, shared);
}

TEST(CFAdaptersMutableArray, AppendingWithoutMemorySaysSo) {
    const CF::Number number(5);
    const qv_test::failing_allocator few(8);
    CF::MutableArray array = CF::MutableArray::create();
    ASSERT_TRUE(array);
    std::size_t added = 0;
    while (added < 1'000'000 && array.append(number))
        ++added;
    EXPECT_EQ(array.size(), added);
    EXPECT_LT(added, 1'000'000U);
    EXPECT_TRUE(few.refused());
}

TEST(CFAdaptersDictionary, LooksUpByTextObjectAndReference) {
    const CF::Dictionary dictionary = CF::Dictionary::of({{"Type", CF::String("Log")},
                                                          {kCFErrorDomainPOSIX, CF::Number(1)},
                                                          {CF::Number(7), CF::Boolean(true)}});
    EXPECT_EQ(dictionary.size(), 3U);
    EXPECT_EQ(dictionary.get<CF::String>("Type"), "Log");
    EXPECT_EQ(dictionary.get<CF::String>(std::string("Type")), "Log");
    EXPECT_EQ(dictionary[CF::String("Type")], CF::String("Log"));
    EXPECT_EQ(dictionary.get<CF::Number>(kCFErrorDomainPOSIX).value<int>(), 1);
    EXPECT_TRUE(dictionary.get<CF::Boolean>(CF::Number(7)).value());
    EXPECT_TRUE(dictionary.contains("NSPOSIXErrorDomain"));
}

TEST(CFAdaptersDictionary, AnAbsentKeyOrWrongTypeIsEmpty) {
    const CF::Dictionary dictionary = CF::Dictionary::of({{"a", CF::Number(1)}});
    EXPECT_FALSE(dictionary["b"]);
    EXPECT_FALSE(dictionary.get<CF::String>("a"));
    EXPECT_FALSE(dictionary.contains("\xFF"));
    EXPECT_FALSE(dictionary["\xFF"]);
    EXPECT_FALSE(dictionary[CF::String()]);
    EXPECT_FALSE(dictionary[nullptr]);
}

TEST(CFAdaptersDictionary, AnEmptyWrapperHasNoEntries) {
    const CF::Dictionary none;
    EXPECT_EQ(none.size(), 0U);
    EXPECT_TRUE(none.empty());
    EXPECT_FALSE(none["a"]);
    EXPECT_FALSE(none.contains("a"));
    EXPECT_TRUE(none.begin() == none.end());
    EXPECT_FALSE(none.copy());
}

TEST(CFAdaptersDictionary, OfKeepsTheFirstOfEqualKeysAndRefusesEmptyParts) {
    EXPECT_EQ(CF::Dictionary::of({{"a", CF::Number(1)}, {"a", CF::Number(2)}})["a"], CF::Number(1));
    EXPECT_FALSE(CF::Dictionary::of({{"a", CF::Number()}}));
    EXPECT_FALSE(CF::Dictionary::of({{CF::String(), CF::Number(1)}}));
    EXPECT_TRUE(CF::Dictionary::of({}));
}

TEST(CFAdaptersDictionary, WalksOverItsEntries) {
    const CF::Dictionary dictionary = CF::Dictionary::of({{"a", CF::Number(1)}, {"b", CF::Number(2)}});
    std::set<std::pair<std::string, int>> seen;
    for (const auto& [key, value] : dictionary)
        seen.emplace(CF::String(key).to_string(), CF::Number(value).value<int>());
    EXPECT_THAT(seen, testing::ElementsAre(std::pair("a", 1), std::pair("b", 2)));
}

TEST(CFAdaptersDictionary, AWalkIsNotDisturbedByChanges) {
    CF::MutableDictionary dictionary = CF::MutableDictionary::create();
    for (int key = 0; key < 100; ++key)
        dictionary.set(CF::Number(key), CF::Number(key));
    int entries = 0;
    for (const auto& [key, value] : dictionary) {
        dictionary.remove(key);
        dictionary.set(CF::Number(1000 + entries), value);
        EXPECT_EQ(key, value);
        ++entries;
    }
    EXPECT_EQ(entries, 100);
    EXPECT_EQ(dictionary.size(), 100U);
}

TEST(CFAdaptersMutableDictionary, Changes) {
    CF::MutableDictionary dictionary = CF::MutableDictionary::create();
    EXPECT_TRUE(dictionary.set("a", CF::Number(1)));
    EXPECT_TRUE(dictionary.set("a", CF::Number(2)));
    EXPECT_EQ(dictionary, CF::Dictionary::of({{"a", CF::Number(2)}}));
    EXPECT_TRUE(dictionary.remove("a"));
    EXPECT_FALSE(dictionary.remove("a"));
    dictionary.set("b", CF::Number(1));
    dictionary.clear();
    EXPECT_TRUE(dictionary.empty());
}

TEST(CFAdaptersMutableDictionary, RefusesEmptyParts) {
    CF::MutableDictionary dictionary = CF::MutableDictionary::create();
    EXPECT_FALSE(dictionary.set("a", CF::String()));
    EXPECT_FALSE(dictionary.set(CF::String(), CF::Number(1)));
    EXPECT_FALSE(dictionary.set("\xFF", CF::Number(1)));
    EXPECT_TRUE(dictionary.empty());
    CF::MutableDictionary none;
    EXPECT_FALSE(none.set("a", CF::Number(1)));
    EXPECT_FALSE(none.remove("a"));
    none.clear();
    EXPECT_FALSE(none);
}

TEST(CFAdaptersMutableDictionary, SharesOrCopies) {
    CF::MutableDictionary dictionary =
        CF::MutableDictionary::copy_of(CF::Dictionary::of({{"a", CF::Number(1)}}));
    const CF::Dictionary shared = dictionary;
    const CF::Dictionary copy = shared.copy();
    dictionary.set("b", CF::Number(2));
    EXPECT_EQ(shared.size(), 2U);
    EXPECT_EQ(copy.size(), 1U);
}

TEST(CFAdaptersMutableDictionary, SettingWithoutMemorySaysSo) {
    std::vector<CF::Number> keys;
    for (int key = 0; key < 10'000; ++key)
        keys.emplace_back(1'000'000 + key);
    const qv_test::failing_allocator few(8);
    CF::MutableDictionary dictionary = CF::MutableDictionary::create();
    ASSERT_TRUE(dictionary);
    std::size_t added = 0;
    for (const CF::Number& key : keys)
        added += dictionary.set(key, key) ? 1U : 0U;
    EXPECT_EQ(dictionary.size(), added);
    EXPECT_LT(added, keys.size());
    EXPECT_TRUE(few.refused());
}

} // namespace
