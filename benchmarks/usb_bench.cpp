// Sets of USB identifiers beside boost::icl::interval_set and std::set, and product types looked up by eight
// threads beside a plain table under a lock.
#include <QVSharedSupport/ProductTypeFinder.h>
#include <QVSharedSupport/usb_id_set.h>

#include <CFAdapters/CFAdapters.h>

#include <boost/icl/interval_set.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <limits>
#include <mutex>
#include <random>
#include <set>
#include <shared_mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using QV::usb_id_set;
using QV::SharedSupport::ProductTypeFinder;
using interval_set = boost::icl::interval_set<std::uint32_t>;
using pair_set = std::set<std::pair<std::uint16_t, std::uint16_t>>;

constexpr double never = std::numeric_limits<double>::max();

/// The best of five rounds of each, by turns, in seconds.
template <std::size_t Count, class Function>
std::vector<double> best_of(const Function (&functions)[Count]) {
    std::vector<double> best(Count, never);
    for (int round = 0; round != 5; ++round) {
        for (std::size_t index = 0; index != Count; ++index) {
            const auto start = std::chrono::steady_clock::now();
            functions[index]();
            const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
            best[index] = std::min(best[index], taken.count());
        }
    }
    return best;
}

void show(const char* what, const std::vector<double>& taken, int operations) {
    std::printf("%-44s %9.1f ns; interval_set %9.1f ns (%.2f of it), std::set %11.1f ns (%.4f of it)\n", what,
                taken[0] / operations * 1e9, taken[1] / operations * 1e9, taken[0] / taken[1],
                taken[2] / operations * 1e9, taken[0] / taken[2]);
}

std::uint32_t key(usb_id_set::id id) {
    return std::uint32_t{id.vid} << 16 | id.pid;
}

/// The same identifiers in a set of each kind: runs of products, `per_vendor` of each vendor.
struct sets {
    sets(int vendors, int per_vendor) {
        std::mt19937 random(7);
        for (int vendor = 0; vendor != vendors; ++vendor) {
            const auto vid = static_cast<std::uint16_t>(random());
            for (int run = 0; run != per_vendor; ++run) {
                const auto first = static_cast<std::uint16_t>(random() % 0xFF00);
                const auto last = static_cast<std::uint16_t>(first + random() % 16);
                ids.insert_range(vid, first, last);
                intervals.add(interval_set::interval_type::closed(key({vid, first}), key({vid, last})));
                for (std::uint16_t pid = first; pid <= last; ++pid)
                    pairs.emplace(vid, pid);
            }
        }
        for (int asked = 0; asked != 4096; ++asked) {
            // Half of what is asked for is there.
            auto found = std::next(pairs.begin(), static_cast<long>(random() % pairs.size()));
            const auto other = static_cast<std::uint16_t>(random());
            questions.push_back({found->first, asked % 2 == 0 ? found->second : other});
        }
    }

    usb_id_set ids;
    interval_set intervals;
    pair_set pairs;
    std::vector<usb_id_set::id> questions;
};

int found_somewhere = 0; // keeps the searches from being left out

void contains(const char* what, int vendors, int per_vendor) {
    const sets all(vendors, per_vendor);
    constexpr int rounds = 200;
    const auto ask = [&](auto is_in) {
        for (int round = 0; round != rounds; ++round)
            for (const usb_id_set::id id : all.questions)
                found_somewhere += is_in(id);
    };
    const std::function<void()> functions[] = {
        [&] { ask([&](usb_id_set::id id) { return all.ids.contains(id.vid, id.pid); }); },
        [&] { ask([&](usb_id_set::id id) { return boost::icl::contains(all.intervals, key(id)); }); },
        [&] { ask([&](usb_id_set::id id) {
                  return all.pairs.contains({id.vid, id.pid});
              }); }};
    show(what, best_of(functions), rounds * static_cast<int>(all.questions.size()));
}

void insert_with_library() {
    usb_id_set set;
    set.insert_all_pids(0x05AC);
    found_somewhere += set.contains(0x05AC, 7);
}

void insert_one_by_one() {
    interval_set set;
    for (std::uint32_t pid = 0; pid <= 0xFFFF; ++pid)
        set.add(0x05AC0000 | pid);
    found_somewhere += boost::icl::contains(set, 0x05AC0007U);
}

void insert_into_pairs() {
    pair_set set;
    for (std::uint32_t pid = 0; pid <= 0xFFFF; ++pid)
        set.emplace(std::uint16_t{0x05AC}, static_cast<std::uint16_t>(pid));
    found_somewhere += set.contains({0x05AC, 7});
}

void insert_at_once() {
    for (int time = 0; time != 1000; ++time) {
        interval_set set;
        set.add(interval_set::interval_type::closed(0x05AC0000, 0x05ACFFFF));
        found_somewhere += boost::icl::contains(set, 0x05AC0007U);
    }
}

void insert_all_pids() {
    const std::function<void()> functions[] = {insert_with_library, insert_one_by_one, insert_into_pairs,
                                               insert_at_once};
    const std::vector<double> taken = best_of(functions);
    show("insert_all_pids, each of 65536 identifiers", taken, 65536);
    // The set goes id by id, as it was made to; an interval is one step there.
    std::printf("%-44s %9.1f us; interval_set given the interval %.3f us\n", "insert_all_pids, all of them",
                taken[0] * 1e6, taken[3] / 1000 * 1e6);
}

constexpr unsigned int types = 1000;
constexpr int threads = 8;
constexpr int lookups = 100'000;

std::string type_name(unsigned int number) {
    return "Model" + std::to_string(number / 10) + "," + std::to_string(number % 10);
}

/// What the same would be without the finder: one direction, with a lock as it has one.
struct plain_table {
    std::string type_of(unsigned int number) {
        const std::shared_lock lock(mutex);
        return table.at(number);
    }

    std::shared_mutex mutex;
    std::unordered_map<unsigned int, std::string> table;
};

void look_up_types() {
    auto entries = CF::MutableDictionary::create();
    plain_table plain;
    for (unsigned int number = 0; number != types; ++number) {
        entries.set(std::to_string(number), CF::String(type_name(number)));
        plain.table.emplace(number, type_name(number));
    }
    ProductTypeFinder::load(CF::Dictionary::of(
        {{"MobileDeviceProductTypes", CF::Dictionary::of({{"DFU", entries}, {"Recovery", entries}})}}));
    const auto on_all_threads = [](auto look_up) {
        std::vector<std::thread> running;
        for (int thread = 0; thread != threads; ++thread)
            running.emplace_back([=] {
                for (int lookup = 0; lookup != lookups; ++lookup)
                    look_up(static_cast<unsigned int>(lookup * 7 + thread) % types);
            });
        for (std::thread& thread : running)
            thread.join();
    };
    std::vector<std::string> names;
    for (unsigned int number = 0; number != types; ++number)
        names.push_back(type_name(number));
    const std::function<void()> functions[] = {
        [&] {
            on_all_threads([](unsigned int number) { (void)ProductTypeFinder::getDFUDeviceType(number); });
        },
        [&] {
            on_all_threads([&names](unsigned int number) {
                if (ProductTypeFinder::getDFUProductType(names[number]) != number) std::abort();
            });
        },
        [&] { on_all_threads([&plain](unsigned int number) { (void)plain.type_of(number); }); }};
    const std::vector<double> taken = best_of(functions);
    constexpr double all = static_cast<double>(threads) * lookups;
    std::printf(
        "product types, %u in the table, %d threads: by number %.2f million/s, by type %.2f million/s; a "
        "plain table by number %.2f million/s (%.2f of its time)\n",
        types, threads, all / taken[0] / 1e6, all / taken[1] / 1e6, all / taken[2] / 1e6,
        taken[0] / taken[2]);
}

} // namespace

int main() {
    contains("contains, 5 vendors of 4 runs", 5, 4);
    contains("contains, 2000 vendors of 4 runs", 2000, 4);
    insert_all_pids();
    look_up_types();
    return found_somewhere == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
