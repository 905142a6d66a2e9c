#include "expect_throw_with.h"

#include <QVSharedSupport/JSON.h>
#include <QVSharedSupport/JSON_RPC.h>
#include <QVSharedSupport/JSON_access.h>

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

using namespace QV;
namespace JSON = SharedSupport::JSON;

static_assert(std::is_same_v<QV::JsonValue, SharedSupport::JSON::JsonValue>);
static_assert(std::is_same_v<QV::JsonValue, SharedSupport::JSON_RPC::JsonValue>);
static_assert(std::is_same_v<JsonObject, std::unordered_map<std::string, JsonValue>>);
static_assert(std::is_same_v<JsonArray, std::vector<JsonValue>>);
// Characters are text, whoever may change them; no other pointer is anything.
static_assert(std::is_convertible_v<char*, JsonValue> && std::is_convertible_v<const char*, JsonValue>);
static_assert(std::is_convertible_v<char (&)[8], JsonValue>);
template <class... Pointers>
constexpr bool none_is_a_value = (... && (!std::is_convertible_v<Pointers, JsonValue> &&
                                          !std::is_constructible_v<JsonValue, Pointers>));
static_assert(
    none_is_a_value<int*, const int*, void*, const void*, volatile char*, unsigned char*, signed char*,
                    wchar_t*, const wchar_t*, char8_t*, char**, void (*)(), int (&)[8]>);
static_assert(!std::is_invocable_v<make_json_type_t<JsonArray>, JsonArray>);

TEST(JsonValue, holds_an_empty_object_from_the_start) {
    EXPECT_EQ(JsonValue().which(), 0);
    EXPECT_EQ(JsonValue(), JsonValue(JsonObject{}));
}

TEST(JsonValue, numbers_its_alternatives) {
    EXPECT_EQ(JsonValue(JsonObject{}).which(), 0);
    EXPECT_EQ(JsonValue(JsonArray{}).which(), 1);
    EXPECT_EQ(JsonValue(1.5).which(), 2);
    EXPECT_EQ(JsonValue(1).which(), 2);
    EXPECT_EQ(JsonValue(0U).which(), 2);
    EXPECT_EQ(JsonValue("text").which(), 3);
    EXPECT_EQ(JsonValue(std::string_view("text")).which(), 3);
    EXPECT_EQ(JsonValue(std::string("text")).which(), 3);
    EXPECT_EQ(JsonValue(true).which(), 4);
    EXPECT_EQ(JsonValue(nullptr).which(), 5);
}

TEST(JsonValue, takes_characters_that_may_be_changed_for_text) {
    char name[8] = "name";
    char* const pointer = name;
    EXPECT_EQ((JsonObject{{"a", name}, {"b", pointer}}), (JsonObject{{"a", "name"}, {"b", "name"}}));
    EXPECT_EQ((JsonArray{name, pointer}), (JsonArray{"name", "name"}));
    JsonValue value;
    value = name;
    EXPECT_EQ(value, JsonValue("name"));
}

TEST(JsonValue, is_visited_assigned_and_compared) {
    JsonValue value = "before";
    value = JsonArray{1, "two"};
    EXPECT_EQ(boost::get<JsonArray>(value).size(), 2U);
    EXPECT_EQ(boost::get<std::string>(&value), nullptr);
    EXPECT_THROW((void)boost::get<double>(value), boost::bad_get);
    value = nullptr;
    EXPECT_EQ(boost::apply_visitor([](const auto& alternative) { return sizeof(alternative); }, value),
              sizeof(nullptr));
    EXPECT_NE(JsonValue(1), JsonValue("1"));
    EXPECT_NE(JsonValue(0), JsonValue(false));
    EXPECT_EQ(JsonValue(JsonObject{{"a", 1}, {"b", 2}}), JsonValue(JsonObject{{"b", 2}, {"a", 1}}));
    const JsonValue nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(nan, nan);
}

TEST(JsonValue, copies_deeply_and_moves_without_throwing) {
    static_assert(std::is_nothrow_move_constructible_v<JsonValue>);
    JsonValue original = JsonObject{{"list", JsonArray{1, 2}}};
    JsonValue copy = original;
    boost::get<JsonArray>(boost::get<JsonObject>(copy).at("list")).push_back(3);
    EXPECT_EQ(original, JsonValue(JsonObject{{"list", JsonArray{1, 2}}}));
    const JsonValue moved = std::move(copy);
    EXPECT_EQ(moved, JsonValue(JsonObject{{"list", JsonArray{1, 2, 3}}}));
    JsonValue part = boost::get<JsonObject>(original).at("list");
    original = std::move(part);
    EXPECT_EQ(original, JsonValue(JsonArray{1, 2}));
}

TEST(make_json_type, converts_numbers_to_double) {
    EXPECT_EQ(make_json_type_t<signed char>{}(-128), -128.0);
    EXPECT_EQ(make_json_type_t<unsigned char>{}(255), 255.0);
    EXPECT_EQ(make_json_type_t<short>{}(-32768), -32768.0);
    EXPECT_EQ(make_json_type_t<unsigned short>{}(65535), 65535.0);
    EXPECT_EQ(make_json_type_t<int>{}(std::numeric_limits<int>::min()), -0x1p31);
    EXPECT_EQ(make_json_type_t<unsigned int>{}(4294967295U), 4294967295.0);
    EXPECT_EQ(make_json_type_t<long long>{}(std::numeric_limits<long long>::min()), -0x1p63);
    EXPECT_EQ(make_json_type_t<long long>{}(9007199254740993), 0x1p53);
    EXPECT_EQ(make_json_type_t<unsigned long long>{}(18446744073709551615U), 0x1p64);
    // Halfway and just above it, past the signed range: to even, and up.
    EXPECT_EQ(make_json_type_t<unsigned long long>{}(0x8000'0000'0000'0400U), 0x1p63);
    EXPECT_EQ(make_json_type_t<unsigned long long>{}(0x8000'0000'0000'0401U), 0x1p63 + 2048);
    EXPECT_EQ(make_json_type_t<double>{}(0.1), 0.1);
}

TEST(make_json_type, passes_the_rest_through) {
    EXPECT_EQ(make_json_type_t<bool>{}(true), true);
    static_assert(std::is_same_v<decltype(make_json_type_t<bool>{}(true)), bool>);
    EXPECT_EQ(make_json_type_t<std::string>{}(std::string("a\0b", 3)), std::string("a\0b", 3));
    static_assert(std::is_same_v<decltype(make_json_type_t<std::string_view>{}("x")), std::string>);
    EXPECT_EQ(make_json_type_t<std::string_view>{}("x"), "x");
    EXPECT_EQ((make_json_type_t<JsonObject>{}({{"a", 1}})), (JsonObject{{"a", 1}}));
    EXPECT_EQ(make_json_type_t<JsonValue>{}(JsonValue("x")), JsonValue("x"));
    make_json_type_t<int> one;
    const make_json_type_t<int> other;
    one = other;
    EXPECT_EQ(one(1), 1.0);
}

const JsonValue message = JsonObject{{"params", JsonArray{JsonObject{{"x", 1.5}, {"name", "n"}}, nullptr}}};

TEST(JSON_access, follows_a_path) {
    EXPECT_EQ(JSON::get<double>(message, "params", 0, "x"), 1.5);
    EXPECT_EQ(JSON::get<std::string>(message, "params", 0U, std::string("name")), "n");
    EXPECT_TRUE(JSON::get<std::nullptr_t>(message, "params", 1));
    EXPECT_EQ(JSON::get<JsonArray>(message, "params")->size(), 2U);
    EXPECT_EQ(JSON::find(message), &message);
    EXPECT_EQ(JSON::at(message, "params", 0, "x"), JsonValue(1.5));
    EXPECT_TRUE(JSON::contains(message, "params", 1));
}

TEST(JSON_access, answers_nothing_for_a_path_that_leads_nowhere) {
    EXPECT_EQ(JSON::get<double>(message, "params", 0, "name"), std::nullopt);
    EXPECT_EQ(JSON::get<double>(message, "params", 2), std::nullopt);
    EXPECT_EQ(JSON::get<double>(message, "params", -1), std::nullopt);
    EXPECT_EQ(JSON::get<double>(message, "params", "x"), std::nullopt);
    EXPECT_EQ(JSON::get<double>(message, 0), std::nullopt);
    EXPECT_FALSE(JSON::contains(message, "params", 1, "x"));
    EXPECT_EQ(JSON::find(message, "Params"), nullptr);
    qv_test::expect_throw_with<std::out_of_range>("No such JSON value", [] { (void)JSON::at(message, "x"); });
}

} // namespace
