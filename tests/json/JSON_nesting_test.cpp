#include "expect_throw_with.h"
#include "small_stack.h"

#include <QVSharedSupport/JSON.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using namespace QV;
using namespace SharedSupport::JSON;

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i != count; ++i)
        text += part;
    return text;
}

std::string nested_arrays(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

std::string nested_objects(std::size_t depth) {
    return repeated("{\"a\":", depth - 1) + "{}" + repeated("}", depth - 1);
}

// Nested through two members of one name, which takes the other way through the parser.
std::string nested_twice(std::size_t depth) {
    return repeated("{\"a\":0,\"a\":0,\"b\":", depth - 1) + "[]" + repeated("}", depth - 1);
}

void expect_refused(const std::string& text) {
    qv_test::expect_throw_with<std::invalid_argument>("Invalid JSON", [&] { (void)parse(text); });
}

static_assert(max_depth >= 1000);

TEST(JSON_nesting, is_borne_by_a_small_stack_up_to_the_limit) {
    qv_test::run_on_small_stack([] {
        for (const std::string& text :
             {nested_arrays(max_depth), nested_objects(max_depth), nested_twice(max_depth)}) {
            JsonValue value = parse(text);
            JsonValue copy = value;
            EXPECT_TRUE(copy == value);
            EXPECT_TRUE(parse(to_string(copy)) == value);
            EXPECT_GT(to_pretty_string(copy).size(), text.size());
            copy = nullptr;
            value = copy;
        }
    });
}

TEST(JSON_nesting, is_refused_beyond_the_limit) {
    qv_test::run_on_small_stack([] {
        for (std::size_t depth : {max_depth + 1, max_depth * 2, std::size_t{1'000'000}}) {
            expect_refused(nested_arrays(depth));
            expect_refused(nested_objects(depth));
            expect_refused(nested_twice(depth));
            expect_refused(repeated("[", depth));
            expect_refused(repeated("[{\"a\":", depth));
        }
    });
}

TEST(JSON_nesting, counts_what_is_open_and_not_what_was) {
    const std::string deep = nested_arrays(max_depth - 1);
    EXPECT_EQ(boost::get<JsonArray>(parse("[" + deep + "," + deep + "]")).size(), 2U);
    EXPECT_EQ(
        boost::get<JsonArray>(parse(std::string("[").append(repeated("[],", 5000)).append("0]"))).size(),
        5001U);
}

} // namespace
