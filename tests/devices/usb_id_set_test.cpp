#include <QVSharedSupport/usb_id_set.h>

#include "device_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using QV::usb_id_set;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_nothrow_move_constructible_v<usb_id_set>);
static_assert(std::is_nothrow_move_assignable_v<usb_id_set>);
static_assert(std::is_nothrow_default_constructible_v<usb_id_set>);
static_assert(sizeof(usb_id_set::range) == 6);

usb_id_set::range range(int vid, int first, int last) {
    return {static_cast<std::uint16_t>(vid), static_cast<std::uint16_t>(first),
            static_cast<std::uint16_t>(last)};
}

TEST(usb_id_set, is_empty_at_first) {
    const usb_id_set set;
    EXPECT_TRUE(set.empty());
    for (const unsigned short id : std::initializer_list<unsigned short>{0x0000, 0x05AC, 0xFFFF}) {
        EXPECT_FALSE(set.contains(id, 0));
        EXPECT_FALSE(set.contains(id, 0xFFFF));
    }
}

TEST(usb_id_set, joins_ranges_across_the_missing_product) {
    usb_id_set set;
    set.insert(0x1234, 5);
    set.insert(0x1234, 7);
    EXPECT_THAT(set, ElementsAre(range(0x1234, 5, 5), range(0x1234, 7, 7)));
    set.insert(0x1234, 6);
    EXPECT_THAT(set, ElementsAre(range(0x1234, 5, 7)));
}

TEST(usb_id_set, keeps_vendors_descending_and_products_ascending) {
    const usb_id_set set{{2, 9}, {1, 5}, {3, 0}, {2, 1}, {1, 7}};
    EXPECT_THAT(set,
                ElementsAre(range(3, 0, 0), range(2, 1, 1), range(2, 9, 9), range(1, 5, 5), range(1, 7, 7)));
}

TEST(usb_id_set, extends_a_range_at_either_end) {
    usb_id_set set{{1, 10}};
    set.insert(1, 11);
    set.insert(1, 9);
    set.insert(1, 10);
    EXPECT_THAT(set, ElementsAre(range(1, 9, 11)));
}

TEST(usb_id_set, does_not_join_products_of_different_vendors) {
    usb_id_set set{{1, 5}};
    set.insert(2, 6);
    set.insert(2, 4);
    set.insert(0, 6);
    EXPECT_THAT(set, ElementsAre(range(2, 4, 4), range(2, 6, 6), range(1, 5, 5), range(0, 6, 6)));
}

TEST(usb_id_set, does_not_wrap_around_at_either_end) {
    usb_id_set set{{1, 0xFFFF}};
    set.insert(1, 0);
    EXPECT_THAT(set, ElementsAre(range(1, 0, 0), range(1, 0xFFFF, 0xFFFF)));
    set.insert_range(1, 0xFFFE, 0xFFFF);
    EXPECT_THAT(set, ElementsAre(range(1, 0, 0), range(1, 0xFFFE, 0xFFFF)));
    set.erase(1, 0);
    set.erase(1, 0xFFFF);
    EXPECT_THAT(set, ElementsAre(range(1, 0xFFFE, 0xFFFE)));
}

TEST(usb_id_set, holds_all_products_in_one_range) {
    usb_id_set set{{7, 1}};
    set.insert_all_pids(0x05AC);
    EXPECT_TRUE(set.contains(0x05AC, 0));
    EXPECT_TRUE(set.contains(0x05AC, 0xFFFF));
    EXPECT_THAT(set, ElementsAre(range(0x05AC, 0, 0xFFFF), range(7, 1, 1)));
    set.insert_all_pids(0x05AC);
    EXPECT_EQ(set.size(), 2U);
}

TEST(usb_id_set, covers_ranges_that_are_there_already) {
    usb_id_set set{{1, 3}, {1, 5}, {1, 9}, {1, 12}};
    set.insert_range(1, 4, 10);
    EXPECT_THAT(set, ElementsAre(range(1, 3, 10), range(1, 12, 12)));
}

TEST(usb_id_set, splits_a_range) {
    usb_id_set set;
    set.insert_all_pids(3);
    set.erase(3, 100);
    EXPECT_THAT(set, ElementsAre(range(3, 0, 99), range(3, 101, 0xFFFF)));
    EXPECT_FALSE(set.contains(3, 100));
    EXPECT_TRUE(set.contains(3, 99));
    EXPECT_TRUE(set.contains(3, 101));
}

TEST(usb_id_set, adds_or_removes_only_the_last_of_a_reversed_range) {
    usb_id_set set;
    set.insert_range(1, 10, 5);
    EXPECT_THAT(set, ElementsAre(range(1, 5, 5)));
    set.insert_range(1, 0, 20);
    set.erase_range(1, 10, 5);
    EXPECT_THAT(set, ElementsAre(range(1, 0, 4), range(1, 6, 20)));
}

TEST(usb_id_set, takes_a_range_of_one) {
    usb_id_set set;
    set.insert_range(1, 0xFFFF, 0xFFFF);
    set.insert_range(1, 0, 0);
    EXPECT_THAT(set, ElementsAre(range(1, 0, 0), range(1, 0xFFFF, 0xFFFF)));
    set.erase_range(1, 0xFFFF, 0xFFFF);
    set.erase_range(1, 0, 0);
    EXPECT_THAT(set, IsEmpty());
}

TEST(usb_id_set, empties_one_vendor_and_leaves_the_others) {
    usb_id_set set{{1, 0}, {1, 0xFFFF}, {2, 0}, {2, 70}, {2, 0xFFFF}, {3, 70}};
    set.erase_range(2, 0, 0xFFFF);
    EXPECT_THAT(set, ElementsAre(range(3, 70, 70), range(1, 0, 0), range(1, 0xFFFF, 0xFFFF)));
    set.erase_all_pids(1);
    EXPECT_THAT(set, ElementsAre(range(3, 70, 70)));
}

TEST(usb_id_set, ignores_the_removal_of_what_is_not_there) {
    usb_id_set set{{2, 5}};
    const usb_id_set before = set;
    set.erase(2, 4);
    set.erase(2, 6);
    set.erase(1, 5);
    set.erase(3, 5);
    EXPECT_EQ(set, before);
}

TEST(usb_id_set, is_a_value) {
    usb_id_set set{{1, 2}, {1, 2}, {1, 3}};
    usb_id_set copy = set;
    EXPECT_EQ(copy, set);
    copy.insert(1, 5);
    EXPECT_NE(copy, set);
    const usb_id_set moved = std::move(copy);
    EXPECT_TRUE(copy.empty()); // NOLINT(bugprone-use-after-move): moved-from sets are empty
    EXPECT_TRUE(moved.contains(1, 5));
    set.clear();
    EXPECT_EQ(set, usb_id_set());
}

// The order of the ranges and that none of a vendor overlap or touch.
bool is_in_order(const usb_id_set& set) {
    const auto wrong = [](const usb_id_set::range& left, const usb_id_set::range& right) {
        return left.vid < right.vid || (left.vid == right.vid && left.last_pid + 1 >= right.first_pid);
    };
    return std::adjacent_find(set.begin(), set.end(), wrong) == set.end() &&
           std::all_of(set.begin(), set.end(), [](const auto& r) { return r.first_pid <= r.last_pid; });
}

std::size_t count_ids(const usb_id_set& set) {
    std::size_t count = 0;
    for (const usb_id_set::range& one : set)
        count += static_cast<std::size_t>(one.last_pid - one.first_pid) + 1;
    return count;
}

TEST(usb_id_set, agrees_with_a_plain_set_over_a_million_operations) {
    std::mt19937 random(20240611);
    const auto below = [&](unsigned limit) { return static_cast<unsigned short>(random() % limit); };
    usb_id_set set;
    std::set<std::pair<unsigned, unsigned>> model;
    for (int step = 0; step < 1'000'000; ++step) {
        // Few vendors and products, so that neighbours meet; the products lie at both ends of the numbers.
        const auto vid = static_cast<unsigned short>(below(3) * 0x7FFFU);
        const auto pid = static_cast<unsigned short>(below(24) - 12U);
        const bool add = below(2) == 0;
        if (below(16) == 0) {
            const auto last = static_cast<unsigned short>(pid + below(6) - 1U);
            // A range that wraps around is a reversed one, where only the last counts.
            const unsigned first = pid < last ? pid : last;
            for (unsigned one = first; one <= last; ++one) {
                if (add)
                    model.emplace(vid, one);
                else
                    model.erase({vid, one});
            }
            add ? set.insert_range(vid, pid, last) : set.erase_range(vid, pid, last);
        } else if (add) {
            set.insert(vid, pid);
            model.emplace(vid, pid);
        } else {
            set.erase(vid, pid);
            model.erase({vid, pid});
        }
        ASSERT_TRUE(is_in_order(set)) << "after step " << step;
        ASSERT_EQ(count_ids(set), model.size()) << "after step " << step;
        const auto asked = static_cast<unsigned short>(below(28) - 14U);
        ASSERT_EQ(set.contains(vid, asked), model.contains({vid, asked})) << "after step " << step;
    }
    for (const auto& [vid, pid] : model)
        EXPECT_TRUE(set.contains(static_cast<unsigned short>(vid), static_cast<unsigned short>(pid)));
}

using id_list = std::vector<std::pair<unsigned short, unsigned short>>;

id_list read_ids(const std::filesystem::path& path) {
    std::istringstream lines(device_data::read(path));
    std::string line;
    std::getline(lines, line); // the headings
    id_list ids;
    while (std::getline(lines, line)) {
        std::istringstream columns(line);
        std::string vid;
        std::string pid;
        std::getline(columns, vid, '\t');
        std::getline(columns, pid, '\t');
        ids.emplace_back(static_cast<unsigned short>(std::stoul(vid, nullptr, 16)),
                         static_cast<unsigned short>(std::stoul(pid, nullptr, 16)));
    }
    return ids;
}

void put_in_and_take_out(id_list ids) {
    std::shuffle(ids.begin(), ids.end(), std::mt19937(7));
    usb_id_set set;
    for (const auto& [vid, pid] : ids)
        set.insert(vid, pid);
    EXPECT_TRUE(is_in_order(set));
    const std::set<std::pair<unsigned short, unsigned short>> all(ids.begin(), ids.end());
    EXPECT_EQ(count_ids(set), all.size());
    EXPECT_LE(set.size(), all.size());
    for (const auto& [vid, pid] : all) {
        EXPECT_TRUE(set.contains(vid, pid));
        const bool next = pid != 0xFFFF && all.contains({vid, static_cast<unsigned short>(pid + 1)});
        EXPECT_EQ(pid != 0xFFFF && set.contains(vid, static_cast<unsigned short>(pid + 1)), next);
    }
    std::shuffle(ids.begin(), ids.end(), std::mt19937(8));
    for (const auto& [vid, pid] : ids) {
        set.erase(vid, pid);
        EXPECT_FALSE(set.contains(vid, pid));
    }
    EXPECT_TRUE(set.empty());
}

TEST(usb_id_set, takes_every_known_identifier_in_and_out) {
    const id_list ids = read_ids(device_data::own("usb_ids.tsv"));
    EXPECT_EQ(ids.size(), 12322U);
    put_in_and_take_out(ids);
}

TEST(usb_id_set, takes_the_identifiers_of_the_full_collection_in_and_out) {
    const auto path = device_data::collected("usb/usb_ids.tsv");
    if (!path) GTEST_SKIP() << "the full collection is not here";
    const id_list ids = read_ids(*path);
    std::cout << ids.size() << " identifiers seen\n";
    EXPECT_FALSE(ids.empty());
    put_in_and_take_out(ids);
}

} // namespace
