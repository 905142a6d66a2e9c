// Lets memory run out at every allocation in turn, in the library as well.
#include <QVSharedSupport/ProductTypeFinder.h>
#include <QVSharedSupport/software_version.h>
#include <QVSharedSupport/usb_id_set.h>

#include "../helpers/captured_log.h"
#include "../helpers/failing_allocator.h"
#include "../helpers/memory_watch.h"

#include <CFAdapters/CFAdapters.h>

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using QV::usb_id_set;
using QV::SharedSupport::ProductTypeFinder;
using test::run_out_of_memory_everywhere;

/// Changes a copy of `before` by `change` and expects it to be what it was wherever memory runs out. The copy
/// has no room to spare, so that every new range needs memory.
template <class Change>
void expect_all_or_nothing(const usb_id_set& before, Change change) {
    usb_id_set after = before;
    change(after);
    usb_id_set changed;
    const long failed = run_out_of_memory_everywhere(
        [&] {
            changed = usb_id_set();
            usb_id_set copy = before;
            changed = std::move(copy);
            change(changed);
        },
        [&](bool refused) {
            if (!refused) {
                EXPECT_EQ(changed, after);
            } else if (!changed.empty()) {
                EXPECT_EQ(changed, before);
            }
        });
    EXPECT_GT(failed, 1) << "the copy needs memory, and so does the change";
}

TEST(failing_allocation, of_a_set_changes_nothing) {
    const usb_id_set set{{3, 5}, {3, 9}, {2, 0}, {1, 0xFFFF}};
    expect_all_or_nothing(set, [](usb_id_set& one) { one.insert(3, 7); });
    expect_all_or_nothing(set, [](usb_id_set& one) { one.insert_range(2, 10, 500); });
    expect_all_or_nothing(set, [](usb_id_set& one) { one.insert_all_pids(7); });
    usb_id_set ranges;
    ranges.insert_range(3, 10, 20);
    ranges.insert_all_pids(2);
    expect_all_or_nothing(ranges, [](usb_id_set& one) { one.erase(3, 15); });
    expect_all_or_nothing(ranges, [](usb_id_set& one) { one.erase_range(2, 15, 15'000); });
}

TEST(failing_allocation, of_a_set_is_not_met_where_no_memory_is_needed) {
    usb_id_set set;
    set.insert_range(3, 10, 20);
    set.insert_all_pids(2);
    usb_id_set moved;
    bool refused = true;
    {
        const test::failing_memory memory(0);
        set.insert(3, 21);
        set.insert_range(3, 9, 15);
        set.erase_range(3, 5, 12);
        set.erase_all_pids(2);
        moved = std::move(set);
        refused = memory.refused();
    }
    EXPECT_FALSE(refused);
    EXPECT_TRUE(moved.contains(3, 13));
    EXPECT_TRUE(moved.contains(3, 21));
    EXPECT_EQ(moved.size(), 1U);
}

TEST(failing_allocation, of_a_new_set) {
    EXPECT_GT(run_out_of_memory_everywhere(
                  [] {
                      const usb_id_set set{{1, 2}, {3, 4}, {5, 6}};
                  },
                  [](bool) {}),
              0);
}

CF::Dictionary feed(const char* type) {
    const auto table =
        CF::Dictionary::of({{"1", CF::String(type)}, {"2", CF::String(std::string(100, 'x'))}});
    return CF::Dictionary::of(
        {{"MobileDeviceProductTypes", CF::Dictionary::of({{"DFU", table}, {"Recovery", table}})}});
}

TEST(failing_allocation, of_loading_leaves_both_tables) {
    const test::captured_log log;
    const CF::Dictionary old_feed = feed("old");
    const CF::Dictionary new_feed = feed("new");
    ProductTypeFinder::load(old_feed);
    bool done = false;
    const long failed = run_out_of_memory_everywhere(
        [&] {
            done = false;
            ProductTypeFinder::load(new_feed);
            done = true;
        },
        [&](bool refused) {
            // What is refused to the log alone hinders nothing.
            EXPECT_TRUE(done || refused);
            const std::string expected = done ? "new" : "old";
            EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(1), expected);
            EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(1), expected);
            ProductTypeFinder::load(old_feed);
        });
    EXPECT_GT(failed, 10);
}

TEST(failing_allocation, of_objects_is_not_taken_for_a_missing_dictionary) {
    const test::captured_log log;
    const CF::Dictionary new_feed = feed("new");
    ProductTypeFinder::load(feed("old"));
    for (int granted = 0;; ++granted) {
        bool refused = false;
        {
            const qv_test::failing_allocator objects(granted);
            try {
                ProductTypeFinder::load(new_feed);
            } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): that is what is tried
            }
            refused = objects.refused();
        }
        EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(1), refused ? "old" : "new");
        EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(1), refused ? "old" : "new");
        if (!refused) {
            EXPECT_GT(granted, 0);
            return;
        }
    }
}

TEST(failing_allocation, of_looking_up) {
    const std::string type(100, 'x');
    ProductTypeFinder::load(feed("a"));
    std::string found;
    EXPECT_GT(
        run_out_of_memory_everywhere([&] { found = ProductTypeFinder::getDFUDeviceType(2); }, [](bool) {}),
        0);
    EXPECT_EQ(found, type);
    run_out_of_memory_everywhere(
        [&] {
            try {
                (void)ProductTypeFinder::getRecoveryProductType("nothing of that name, and a long one");
            } catch (const std::out_of_range&) { // NOLINT(bugprone-empty-catch): it is not there
            }
        },
        [&](bool) { EXPECT_EQ(ProductTypeFinder::getRecoveryProductType(type), 2U); });
}

TEST(failing_allocation, of_a_version_text_gives_an_empty_one) {
    constexpr QV::software_version version{1'000'000'000, 2'000'000'000, 3'000'000'000, 4'000'000'000};
    std::string text;
    const long failed = run_out_of_memory_everywhere(
        [&] { text = QV::to_string(version); },
        [&](bool refused) { EXPECT_EQ(text, refused ? "" : "1000000000.2000000000.3000000000.4000000000"); });
    EXPECT_GT(failed, 0);
}

} // namespace
