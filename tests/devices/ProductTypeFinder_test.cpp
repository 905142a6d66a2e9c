#include <QVSharedSupport/ProductTypeFinder.h>

#include "../helpers/captured_log.h"
#include "device_data.h"

#include <CFAdapters/CFAdapters.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using QV::SharedSupport::ProductTypeFinder;
using testing::ElementsAre;

using entries = std::vector<std::pair<std::string, std::string>>;

CF::Dictionary dictionary(const entries& pairs) {
    auto made = CF::MutableDictionary::create();
    for (const auto& [key, value] : pairs)
        made.set(CF::String(key), CF::String(value));
    return made;
}

CF::Dictionary feed(const CF::Type& dfu, const CF::Type& recovery) {
    auto types = CF::MutableDictionary::create();
    types.set("DFU", dfu);
    types.set("Recovery", recovery);
    auto root = CF::MutableDictionary::create();
    root.set("MobileDeviceProductTypes", types);
    return root;
}

CF::Dictionary feed(const entries& dfu, const entries& recovery) {
    return feed(dictionary(dfu), dictionary(recovery));
}

/// The text of the exception that `function` throws, which must be an `Exception` itself or derived from it.
template <class Exception, class Function>
std::string text_of(Function function) {
    try {
        function();
    } catch (const Exception& failure) {
        return failure.what();
    }
    return "nothing was thrown";
}

/// Empty tables before and after.
class ProductTypeFinderTest : public testing::Test {
protected:
    ProductTypeFinderTest() { ProductTypeFinder::load(feed(entries(), entries())); }
    ~ProductTypeFinderTest() override { ProductTypeFinder::load(feed(entries(), entries())); }
};

TEST_F(ProductTypeFinderTest, knows_nothing_of_empty_tables) {
    EXPECT_EQ(text_of<std::out_of_range>([] { ProductTypeFinder::getDFUDeviceType(1); }),
              "bimap<>: invalid key");
    EXPECT_EQ(text_of<std::out_of_range>([] { ProductTypeFinder::getRecoveryDeviceType(1); }),
              "bimap<>: invalid key");
    EXPECT_EQ(text_of<std::out_of_range>([] { ProductTypeFinder::getDFUProductType("unknown"); }),
              "Can't find device unknown");
    EXPECT_EQ(text_of<std::out_of_range>([] { ProductTypeFinder::getRecoveryProductType(""); }),
              "Can't find device ");
}

TEST_F(ProductTypeFinderTest, translates_both_ways_and_keeps_the_modes_apart) {
    ProductTypeFinder::load(feed({{"570458371", "Macmini9,1"}}, {{"1", "iPhone15,2"}, {"2", "iPad8,1"}}));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(570458371), "Macmini9,1");
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("Macmini9,1"), 570458371U);
    EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(2), "iPad8,1");
    EXPECT_EQ(ProductTypeFinder::getRecoveryProductType("iPhone15,2"), 1U);
    EXPECT_THROW((void)ProductTypeFinder::getDFUDeviceType(1), std::out_of_range);
    EXPECT_THROW((void)ProductTypeFinder::getRecoveryProductType("Macmini9,1"), std::out_of_range);
    EXPECT_EQ(text_of<std::out_of_range>([] { ProductTypeFinder::getDFUProductType("macmini9,1"); }),
              "Can't find device macmini9,1");
}

TEST_F(ProductTypeFinderTest, logs_the_size_of_each_table) {
    const test::captured_log log;
    ProductTypeFinder::load(feed({{"1", "a"}, {"2", "b"}, {"3", "b"}}, {{"4", "c"}, {"5", ""}}));
    EXPECT_THAT(log.texts("System"),
                ElementsAre("Loaded 2 DFU product types", "Loaded 1 Recovery product types"));
    for (const test::log_line& line : log.lines())
        EXPECT_EQ(static_cast<int>(line.level), 3);
}

TEST_F(ProductTypeFinderTest, skips_keys_without_a_number_and_empty_types) {
    ProductTypeFinder::load(feed({{"abc", "x"}, {"", "y"}, {"-", "z"}, {"7", "kept"}, {"8", ""}},
                                 {{"1", ""}, {"2", "also kept"}}));
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("kept"), 7U);
    EXPECT_EQ(ProductTypeFinder::getRecoveryProductType("also kept"), 2U);
    for (const char* skipped : {"x", "y", "z"})
        EXPECT_THROW((void)ProductTypeFinder::getDFUProductType(skipped), std::out_of_range);
    EXPECT_THROW((void)ProductTypeFinder::getDFUDeviceType(8), std::out_of_range);
}

TEST_F(ProductTypeFinderTest, reads_numbers_with_blanks_signs_and_text_after_them) {
    ProductTypeFinder::load(feed({{" \t12", "blanks"},
                                  {"+13", "plus"},
                                  {"-1", "minus"},
                                  {"14 (rev B)", "text"},
                                  {"0x10", "zero"},
                                  {"2147483647", "highest"},
                                  {"-2147483648", "lowest"}},
                                 {}));
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("blanks"), 12U);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("plus"), 13U);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("minus"), 0xFFFFFFFFU);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("text"), 14U);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("zero"), 0U);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("highest"), 0x7FFFFFFFU);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("lowest"), 0x80000000U);
}

// A dictionary has an order of its own, and gives it to whoever walks it.
TEST_F(ProductTypeFinderTest, keeps_the_first_of_equal_numbers_and_types) {
    const CF::Dictionary equal_types =
        dictionary({{"1", "same"}, {"2", "same"}, {"3", "same"}, {"4", "same"}, {"5", "same"}});
    const CF::Dictionary equal_numbers =
        dictionary({{"5", "a"}, {"05", "b"}, {"005", "c"}, {" 5", "d"}, {"+5", "e"}});
    ProductTypeFinder::load(feed(equal_types, equal_numbers));

    const auto first_number = std::stoul(CF::String((*equal_types.begin()).first).to_string());
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("same"), first_number);
    for (unsigned int number = 1; number <= 5; ++number) {
        if (number == first_number) {
            EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(number), "same");
        } else {
            EXPECT_THROW((void)ProductTypeFinder::getDFUDeviceType(number), std::out_of_range) << number;
        }
    }

    const std::string first_type = CF::String((*equal_numbers.begin()).second).to_string();
    EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(5), first_type);
    for (const std::string type : {"a", "b", "c", "d", "e"}) {
        if (type == first_type) {
            EXPECT_EQ(ProductTypeFinder::getRecoveryProductType(type), 5U);
        } else {
            EXPECT_THROW((void)ProductTypeFinder::getRecoveryProductType(type), std::out_of_range) << type;
        }
    }
}

TEST_F(ProductTypeFinderTest, skips_what_is_no_string) {
    auto odd = CF::MutableDictionary::create();
    odd.set("1", CF::Number(5));
    odd.set(CF::Number(2), CF::String("x"));
    odd.set("3", CF::String("kept"));
    odd.set("4", CF::MutableDictionary::create());
    ProductTypeFinder::load(feed(odd, CF::MutableDictionary::create()));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(3), "kept");
    for (const unsigned int skipped : {1U, 2U, 4U})
        EXPECT_THROW((void)ProductTypeFinder::getDFUDeviceType(skipped), std::out_of_range);
}

TEST_F(ProductTypeFinderTest, keeps_types_with_nul_and_other_alphabets) {
    const std::string nul("a\0b", 3);
    ProductTypeFinder::load(feed({{"1", nul}, {"2", "\xE8\x8B\xB9\xE6\x9E\x9C"}}, {}));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(1), nul);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType(nul), 1U);
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("\xE8\x8B\xB9\xE6\x9E\x9C"), 2U);
    EXPECT_THROW((void)ProductTypeFinder::getDFUProductType("a"), std::out_of_range);
}

TEST_F(ProductTypeFinderTest, refuses_numbers_beyond_32_bits) {
    for (const char* number : {"2147483648", "-2147483649", "99999999999999999999999"}) {
        const CF::Dictionary root = feed({{number, "x"}}, {});
        EXPECT_EQ(text_of<std::out_of_range>([&] { ProductTypeFinder::load(root); }),
                  "stoi argument out of range");
    }
}

TEST_F(ProductTypeFinderTest, has_replaced_the_dfu_table_when_a_recovery_number_is_refused) {
    ProductTypeFinder::load(feed({{"1", "old"}}, {{"1", "old"}}));
    const test::captured_log log;
    EXPECT_THROW(ProductTypeFinder::load(feed({{"1", "new"}}, {{"2147483648", "new"}})), std::out_of_range);
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(1), "new");
    EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(1), "old");
    EXPECT_THAT(log.texts("System"), ElementsAre("Loaded 1 DFU product types"));
}

TEST_F(ProductTypeFinderTest, keeps_its_tables_when_a_dfu_number_is_refused) {
    ProductTypeFinder::load(feed({{"1", "old"}}, {{"1", "old"}}));
    const test::captured_log log;
    EXPECT_THROW(ProductTypeFinder::load(feed({{"2147483648", "new"}}, {{"1", "new"}})), std::out_of_range);
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(1), "old");
    EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(1), "old");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(ProductTypeFinderTest, keeps_its_tables_when_a_dictionary_is_missing_or_something_else) {
    ProductTypeFinder::load(feed({{"1", "old"}}, {{"1", "old"}}));
    const CF::Dictionary good = dictionary({{"1", "new"}});
    const auto expect_refused = [](const CF::Dictionary& root, const std::string& name) {
        EXPECT_EQ(text_of<std::runtime_error>([&] { ProductTypeFinder::load(root); }),
                  "version info has no dictionary '" + name + "'");
        EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(1), "old");
        EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(1), "old");
    };
    expect_refused(CF::Dictionary(), "MobileDeviceProductTypes");
    expect_refused(dictionary({}), "MobileDeviceProductTypes");
    expect_refused(dictionary({{"MobileDeviceProductTypes", "text"}}), "MobileDeviceProductTypes");
    expect_refused(feed(CF::Type(), good), "DFU");
    expect_refused(feed(CF::String("text"), good), "DFU");
    expect_refused(feed(good, CF::Type()), "Recovery");
    expect_refused(feed(good, CF::Number(1)), "Recovery");
}

TEST_F(ProductTypeFinderTest, may_be_asked_while_it_logs) {
    auto sinks = QV::Logging::set_sinks({QV::Logging::make_callback_sink(
        [](const QV::Logging::record&) { EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(2), "new"); })});
    const auto level = QV::Logging::global_level();
    QV::Logging::set_global_level(QV::Logging::log_level::trace);
    ProductTypeFinder::load(feed({{"1", "new"}}, {{"2", "new"}}));
    QV::Logging::set_global_level(level);
    QV::Logging::set_sinks(std::move(sinks));
}

CF::Dictionary parse(const std::string& text) {
    const CF::Data data(std::as_bytes(std::span(text)));
    return CF::Dictionary::adopt(CFPropertyListCreateWithData(nullptr, data.get(), 0, nullptr, nullptr));
}

/// Loads a feed, and holds every entry of it to the two lookups. Returns how many there are.
template <class TypeOf, class NumberOf>
std::size_t check_entries(const CF::Dictionary& table, TypeOf type_of, NumberOf number_of) {
    std::size_t count = 0;
    for (const auto& [key, value] : table) {
        const auto number = static_cast<unsigned int>(std::stoi(CF::String(key).to_string()));
        const std::string type = CF::String(value).to_string();
        // Of two numbers with one type only one is kept, so the way back leads to that one.
        EXPECT_EQ(type_of(number_of(type)), type);
        if (number_of(type) == number) {
            EXPECT_EQ(type_of(number), type);
        }
        ++count;
    }
    return count;
}

std::size_t load_and_check(const std::filesystem::path& path) {
    const CF::Dictionary root = parse(device_data::read(path));
    ProductTypeFinder::load(root);
    const auto types = root.get<CF::Dictionary>("MobileDeviceProductTypes");
    return check_entries(types.get<CF::Dictionary>("DFU"), ProductTypeFinder::getDFUDeviceType,
                         ProductTypeFinder::getDFUProductType) +
           check_entries(types.get<CF::Dictionary>("Recovery"), ProductTypeFinder::getRecoveryDeviceType,
                         ProductTypeFinder::getRecoveryProductType);
}

TEST_F(ProductTypeFinderTest, loads_a_whole_feed) {
    EXPECT_EQ(load_and_check(device_data::own("synthetic_product_types.plist")), 308U);
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(134252866), "AppleTV3,1");
}

TEST_F(ProductTypeFinderTest, loads_the_feeds_of_the_full_collection) {
    const auto path = device_data::collected("plist/firmware/com_apple_macOSIPSW.xml");
    if (!path) GTEST_SKIP() << "the full collection is not here";
    const std::size_t count = load_and_check(*path);
    std::cout << count << " product types seen\n";
    EXPECT_GT(count, 50U);
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(570458371), "Macmini9,1");
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("Mac14,2"), 671121682U);
}

TEST(ProductTypeFinder, names_the_usual_file) {
    EXPECT_EQ(ProductTypeFinder::AppleVersionInfoFilenameDefault, "version.xml");
}

} // namespace
