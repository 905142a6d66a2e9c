// Whole collections of JSON texts, and of numbers.
#include "test_data.h"

#include <QVSharedSupport/JSON.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using namespace QV;
using SharedSupport::JSON::parse;
using SharedSupport::JSON::to_pretty_string;
using SharedSupport::JSON::to_string;

// How many doubles lie between two of the same sign.
std::uint64_t distance(double one, double other) {
    const auto a = std::bit_cast<std::uint64_t>(std::fabs(one));
    const auto b = std::bit_cast<std::uint64_t>(std::fabs(other));
    return a > b ? a - b : b - a;
}

// Equal but for the last digits of numbers: the reader is not exact about those of more than 15.
bool nearly_equal(const JsonValue& one, const JsonValue& other) {
    if (one.which() != other.which()) return false;
    if (const auto* const number = boost::get<double>(&one))
        return distance(*number, boost::get<double>(other)) <= 3;
    if (const auto* const elements = boost::get<JsonArray>(&one)) {
        const auto& others = boost::get<JsonArray>(other);
        return std::equal(elements->begin(), elements->end(), others.begin(), others.end(), nearly_equal);
    }
    if (const auto* const members = boost::get<JsonObject>(&one)) {
        const auto& others = boost::get<JsonObject>(other);
        return members->size() == others.size() &&
               std::all_of(members->begin(), members->end(), [&](const auto& member) {
                   const auto found = others.find(member.first);
                   return found != others.end() && nearly_equal(member.second, found->second);
               });
    }
    return one == other;
}

// What is read is written so that it reads back as the same; a text is refused in no other way than these
// two.
std::optional<JsonValue> read(const std::string& text) {
    JsonValue value;
    try {
        value = parse(text);
    } catch (const std::invalid_argument& error) {
        const std::string reason = error.what();
        EXPECT_TRUE(reason == "Invalid JSON" || reason == "Can only append to objects and arrays") << reason;
        return std::nullopt;
    }
    EXPECT_TRUE(nearly_equal(parse(to_string(value)), value));
    EXPECT_TRUE(nearly_equal(parse(to_pretty_string(value)), value));
    return value;
}

// What is left to each reader. Numbers beyond the range of a double and lone surrogates in escapes are
// refused, bytes that are not UTF-8 are taken as they are, a byte order mark is no white space.
const std::map<std::string, bool> left_to_us = {
    {"i_number_huge_exp.json", false},
    {"i_number_real_neg_overflow.json", false},
    {"i_number_real_pos_overflow.json", false},
    {"i_number_too_big_neg_int.json", true},
    {"i_number_too_big_pos_int.json", true},
    {"i_number_very_big_negative_int.json", true},
    {"i_object_key_lone_2nd_surrogate.json", true},
    {"i_string_1st_valid_surrogate_2nd_invalid.json", false},
    {"i_string_UTF8_surrogate_U+D800.json", true},
    {"i_string_incomplete_surrogate_and_escape_valid.json", false},
    {"i_string_incomplete_surrogate_pair.json", true},
    {"i_string_incomplete_surrogates_escape_valid.json", false},
    {"i_string_invalid_utf-8.json", true},
    {"i_string_lone_second_surrogate.json", true},
    {"i_string_lone_utf8_continuation_byte.json", true},
    {"i_string_overlong_sequence_6_bytes.json", true},
    {"i_string_utf16BE_no_BOM.json", false},
    {"i_structure_500_nested_arrays.json", true},
    {"i_structure_UTF-8_BOM_empty_object.json", false},
};

TEST(JSON_conformance, testsuite_parsing) {
    qv_test::for_each_file("json/testsuite_parsing", [](const std::string& name, const std::string& text) {
        const bool accepted = read(text).has_value();
        if (name[0] == 'i') {
            ASSERT_TRUE(left_to_us.contains(name)) << "nothing is said of " << name;
            EXPECT_EQ(accepted, left_to_us.at(name)) << name;
        } else {
            // After the NUL there is nothing.
            EXPECT_EQ(accepted, name[0] == 'y' || name == "n_multidigit_number_then_00.json") << name;
        }
    });
}

// Its limit of depth is not ours, 2^64 is not too large for a double, and after a NUL there is nothing.
const std::set<std::string> accepted_nevertheless = {
    "njb__fail18_EXCLUDE.json", "simdjson__fail41_toolarge.json", "simdjson__fail68.json",
    "simdjson__fail69.json", "simdjson__fail72.json"};
// Zero with an exponent of many digits: the reader looks at the exponent first.
const std::string refused_nevertheless = "simdjson__pass27.json";

TEST(JSON_conformance, json_checker) {
    qv_test::for_each_file("json/json_checker", [](const std::string& name, const std::string& text) {
        EXPECT_EQ(read(text).has_value(),
                  accepted_nevertheless.contains(name) ||
                      (name.find("pass") != std::string::npos && name != refused_nevertheless))
            << name;
    });
}

TEST(JSON_conformance, testsuite_transform) {
    const std::map<std::string, std::string> expected = {
        {"number_-9223372036854775808.json", "[-9223372036854775808]"},
        {"number_-9223372036854775809.json", "[-9223372036854775808]"},
        {"number_1000000000000000.json", "[1000000000000000]"},
        {"number_1e-999.json", "[0]"},
        {"number_1e6.json", "[1000000]"},
        {"number_9223372036854775807.json", "[9223372036854776000.0]"},
        {"number_9223372036854775808.json", "[9223372036854776000.0]"},
        {"object_same_key_unclear_values.json", "{\"a\":0}"},
        {"string_1_escaped_invalid_codepoint.json", "refused"},
        {"string_2_escaped_invalid_codepoints.json", "refused"},
    };
    qv_test::for_each_file("json/testsuite_transform", [&](const std::string& name, const std::string& text) {
        const auto value = read(text);
        const std::string same = text.substr(0, text.find_last_not_of('\n') + 1);
        EXPECT_EQ(value ? to_string(*value) : "refused", expected.contains(name) ? expected.at(name) : same)
            << name;
    });
}

TEST(JSON_conformance, roundtrip) {
    // A number is written as an integer where it is one, and integers above 2^53 are rounded.
    const std::map<std::string, std::string> expected = {
        {"[-1234567890123456789]", "[-1234567890123456768]"},
        {"[1234567890123456789]", "[1234567890123456768]"},
        {"[9223372036854775807]", "[9223372036854776000.0]"},
        {"[0.0]", "[0]"},
        {"[-0.0]", "[0]"},
    };
    qv_test::for_each_file("json/roundtrip", [&](const std::string& name, const std::string& text) {
        const auto value = read(text);
        ASSERT_TRUE(value) << name;
        EXPECT_EQ(to_string(*value), expected.contains(text) ? expected.at(text) : text) << name;
    });
}

TEST(JSON_conformance, generated) {
    qv_test::for_each_file("json/generated", [](const std::string& name, const std::string& text) {
        const auto value = read(text);
        const bool too_deep = name.find("000.json") != std::string::npos && name.starts_with("nest") &&
                              name != "nest_object_1000.json";
        EXPECT_EQ(value.has_value(), !too_deep && name != "two_values.json") << name;
        if (name == "many_keys_6000.json") {
            EXPECT_EQ(boost::get<JsonObject>(*value).size(), 6000U);
        }
    });
}

TEST(JSON_conformance, nothing_breaks_the_reader) {
    int accepted = 0;
    const auto count = [&](const std::string&, const std::string& text) { accepted += read(text) ? 1 : 0; };
    qv_test::for_each_file("json/fuzz_regressions", count);
    EXPECT_GT(accepted, 0);
    if (qv_test::data_folders().size() > 1) {
        int seen = 0;
        for (const char* folder : {"json/adversarial", "json/documents"})
            for (const auto& entry :
                 std::filesystem::directory_iterator(qv_test::data_folders().back() / folder)) {
                count("", qv_test::read_file(entry.path()));
                ++seen;
            }
        std::cout << "json/adversarial and json/documents: " << seen << " files\n";
    }
}

double from_bits(const std::string& hexadecimal) {
    std::uint64_t bits = 0;
    std::from_chars(hexadecimal.data(), hexadecimal.data() + hexadecimal.size(), bits, 16);
    return std::bit_cast<double>(bits);
}

std::string digits_of(const std::string& number) {
    std::string digits;
    for (const char c : number.substr(0, number.find_first_of("eE")))
        if (c >= '0' && c <= '9') digits += c;
    digits.erase(0, digits.find_first_not_of('0'));
    return digits.substr(0, digits.find_last_not_of('0') + 1);
}

TEST(JSON_conformance, writes_the_shortest_digits) {
    std::size_t longer = 0;
    std::size_t other = 0;
    std::size_t written = 0;
    qv_test::for_each_line("json/numbers/shortest_double.tsv", [&](const std::string& line) {
        std::istringstream columns(line);
        std::string bits;
        std::string exact;
        std::string digits;
        columns >> bits >> exact >> digits;
        if (bits == "bits") return;
        const double number = from_bits(bits);
        const std::string text = to_string(number);
        ++written;
        // Read by the C++ library, to the nearest double: what was written names this number and no other.
        double again = 0;
        std::from_chars(text.data(), text.data() + text.size(), again);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(again), std::bit_cast<std::uint64_t>(number)) << line;
        if (std::fabs(number) < 0x1p63 && number == std::trunc(number)) return;
        if (digits_of(text).size() > digits.size()) ++longer;
        if (digits_of(text) != digits) ++other;
    });
    std::cout << written << " numbers, " << other << " with other digits than the nearest, " << longer
              << " of them with more digits than are needed\n";
    // A property of RapidJSON's writer.
    EXPECT_LE(longer * 100, written);
}

TEST(JSON_conformance, reads_numbers_to_within_a_few_units_in_the_last_place) {
    std::uint64_t largest = 0;
    std::uint64_t largest_of_17 = 0;
    std::string worst;
    std::size_t refused = 0;
    std::size_t seen = 0;
    const auto check = [&](const std::string& line) {
        std::istringstream columns(line);
        std::string half;
        std::string single;
        std::string bits;
        std::string text;
        columns >> half >> single >> bits >> text;
        const double expected = from_bits(bits);
        JsonValue value;
        try {
            value = parse(text);
        } catch (const std::invalid_argument&) {
            // Too large, or written as JSON has it not, as in ".5" or "1.".
            ++refused;
            return;
        }
        ++seen;
        EXPECT_TRUE(std::isfinite(expected)) << "not refused: " << line;
        const std::uint64_t error = distance(boost::get<double>(value), expected);
        if (digits_of(text).size() <= 17) largest_of_17 = std::max(largest_of_17, error);
        if (error > largest) {
            largest = error;
            worst = line;
        }
    };
    for (const char* file : {"exhaustive-float16", "freetype-2-7", "google-wuffs", "lemire-fast-float",
                             "more-test-cases", "tencent-rapidjson"})
        qv_test::for_each_line("json/numbers/" + std::string(file) + ".txt", check, true);
    // The shortest digits with their decimal point, from the table of the writer.
    qv_test::for_each_line("json/numbers/shortest_double.tsv", [&](const std::string& line) {
        std::istringstream columns(line);
        std::string bits;
        std::string exact;
        columns >> bits >> exact;
        if (bits != "bits") check("- - " + bits + " " + exact);
    });
    std::cout << seen << " numbers, " << refused << " refused, largest error " << largest
              << " units in the last place (" << largest_of_17 << " of at most 17 digits): " << worst << "\n";
    EXPECT_LE(largest, 10U);
    EXPECT_LE(largest_of_17, 1U);
}

} // namespace
