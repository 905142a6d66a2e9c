// Lookups while another thread loads. Every load replaces each table at once, so that whatever a lookup finds
// is of one load.
#include <QVSharedSupport/ProductTypeFinder.h>

#include <CFAdapters/CFAdapters.h>

#include <fmt/format.h>

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using QV::SharedSupport::ProductTypeFinder;

constexpr unsigned int numbers = 50;

/// Every number has a type named after it and the load, but for one that is always the same.
CF::Dictionary feed_of_load(const std::string& load) {
    auto table = CF::MutableDictionary::create();
    for (unsigned int number = 0; number != numbers; ++number)
        table.set(std::to_string(number), CF::String(load + " " + std::to_string(number)));
    table.set("1000", CF::String("constant"));
    return CF::Dictionary::of(
        {{"MobileDeviceProductTypes", CF::Dictionary::of({{"DFU", table}, {"Recovery", table}})}});
}

/// Asks for everything, and counts the answers that no table can have given.
template <class TypeOf, class NumberOf>
int wrong_answers(TypeOf type_of, NumberOf number_of) {
    int wrong = 0;
    for (unsigned int number = 0; number != numbers; ++number) {
        const std::string text = fmt::format(" {}", number);
        const std::string type = type_of(number);
        if (type != "one" + text && type != "two" + text) ++wrong;
        try {
            if (number_of(type) != number) ++wrong;
        } catch (const std::out_of_range& failure) {
            // The other table has come meanwhile; then that is what it says.
            if (failure.what() != "Can't find device " + type) ++wrong;
        }
    }
    if (number_of("constant") != 1000 || type_of(1000) != "constant") ++wrong;
    return wrong;
}

TEST(ProductTypeFinder_stress, is_asked_while_another_thread_loads) {
    const CF::Dictionary one = feed_of_load("one");
    const CF::Dictionary two = feed_of_load("two");
    const CF::Dictionary refused = CF::Dictionary::of({{"MobileDeviceProductTypes", CF::String("none")}});
    ProductTypeFinder::load(one);
    std::atomic<bool> done = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread != 4; ++thread) {
        threads.emplace_back([&] {
            while (!done) {
                wrong +=
                    wrong_answers(ProductTypeFinder::getDFUDeviceType, ProductTypeFinder::getDFUProductType);
                wrong += wrong_answers(ProductTypeFinder::getRecoveryDeviceType,
                                       ProductTypeFinder::getRecoveryProductType);
            }
        });
    }
    const auto load_often = [&](const CF::Dictionary& first, const CF::Dictionary& second) {
        for (int load = 0; load != 100; ++load) {
            ProductTypeFinder::load(load % 2 == 0 ? first : second);
            try {
                ProductTypeFinder::load(refused);
                ++wrong;
            } catch (const std::runtime_error&) { // NOLINT(bugprone-empty-catch): and the tables stay
            }
        }
    };
    // Two threads load, so that loads meet as well.
    std::thread other([&] { load_often(two, one); });
    load_often(one, two);
    other.join();
    done = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
