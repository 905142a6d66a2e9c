// Lets the n-th allocation fail, for every n, and counts what is not given back.
#include "failing_new.h"

#include <QVSharedSupport/JSON.h>
#include <QVSharedSupport/JSON_RPC_batch.h>

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <string>

namespace {

using namespace QV;
using qv_test::allocated_blocks;
using qv_test::living_blocks;
using qv_test::run_out_of_memory_everywhere;

const std::string document =
    R"({"a long name of a member":["a long text in an array",1,2,3,{"x":null}],"b":{"c":[[[[]]]]},
    "d":"\u00e9 and a text that is longer than any small buffer of a string would be"})";

TEST(failing_allocation, of_the_parser) {
    run_out_of_memory_everywhere([] { (void)SharedSupport::JSON::parse(document); });
}
TEST(failing_allocation, of_the_parser_with_escapes_and_long_exponents) {
    const std::string text =
        R"(["a long text with an escape at its end\n","\t\t",1e-99999999999,{"\u0041":1}])";
    run_out_of_memory_everywhere([&] { (void)SharedSupport::JSON::parse(text); });
}
TEST(failing_allocation, of_the_parser_with_names_that_occur_twice) {
    const std::string text = R"({"a":[1,"a long text in the first array"],"a":[{"b":1,"b":2}],"a":3})";
    run_out_of_memory_everywhere([&] { (void)SharedSupport::JSON::parse(text); });
}
TEST(failing_allocation, of_the_writers) {
    JsonValue value = SharedSupport::JSON::parse(document);
    boost::get<JsonObject>(value)["long"] = std::string(5000, 'x');
    run_out_of_memory_everywhere([&] { (void)SharedSupport::JSON::to_string(value); });
    run_out_of_memory_everywhere([&] { (void)SharedSupport::JSON::to_pretty_string(value); });
}
TEST(failing_allocation, of_copies) {
    const JsonValue value = SharedSupport::JSON::parse(document);
    run_out_of_memory_everywhere([&] { (void)JsonValue(value); });
    run_out_of_memory_everywhere([&] {
        JsonValue target = JsonArray{"something that is replaced", 5};
        target = value;
    });
}
// Made of an object, of its fields, copied, assigned and encoded.
template <class Message>
void run_out_of_memory_with(const char* text, const std::function<Message()>& of_fields) {
    const JsonValue value = SharedSupport::JSON::parse(text);
    const auto& members = boost::get<JsonObject>(value);
    run_out_of_memory_everywhere([&] { (void)Message(members); });
    run_out_of_memory_everywhere([&] { (void)of_fields(); });
    const Message message(members);
    run_out_of_memory_everywhere([&] { (void)Message(message); });
    run_out_of_memory_everywhere([&] { (void)JsonObject(message); });
    run_out_of_memory_everywhere([&] {
        Message target = of_fields();
        target = message;
    });
}

namespace RPC = SharedSupport::JSON_RPC;

TEST(failing_allocation, of_a_request) {
    run_out_of_memory_with<RPC::Request>(
        R"({"jsonrpc":"2.0","method":"a long name of a method","params":[1],"id":"an id that is long"})", [] {
            return RPC::Request("another long name of a method", 1, JsonObject{{"a", 1}});
        });
}
TEST(failing_allocation, of_a_notification) {
    run_out_of_memory_with<RPC::Notification>(
        R"({"jsonrpc":"2.0","method":"a long name of a method","params":{"a":["b"]}})",
        [] { return RPC::Notification("another long name of a method", JsonArray{1}); });
}
TEST(failing_allocation, of_an_error) {
    run_out_of_memory_with<RPC::Error>(
        R"({"code":1,"message":"a message of some length","data":["a long text in an array"]})",
        [] { return RPC::Error(2, "another message of some length", JsonArray{1}); });
}
TEST(failing_allocation, of_responses) {
    const RPC::Request request("m", "an id that is so long", std::nullopt);
    run_out_of_memory_with<RPC::Response>(
        R"({"jsonrpc":"2.0","error":{"code":1,"message":"a message of some length","data":[1]},"id":1})",
        [&] { return RPC::Response(request, JsonArray{"a long text in an array"}, std::nullopt); });
}
TEST(failing_allocation, of_a_batch) {
    const JsonValue batch = SharedSupport::JSON::parse(
        R"([{"jsonrpc":"2.0","method":"a long name of a method","params":[1],"id":"an id that is long"},
            {"jsonrpc":"2.0","error":{"code":1,"message":"a message of some length","data":[1]},"id":1},
            {"jsonrpc":"2.0","method":5}])");
    run_out_of_memory_everywhere([&] { (void)JsonArray(std::get<RPC::Batch>(RPC::make_message(batch))); });
}

// A node for each member, a table for each object, the elements of each array; the texts here need none.
TEST(allocations, of_a_value_are_the_fewest_that_its_types_allow) {
    const std::string text = R"([{"a":1,"b":2,"c":[1,2,3]},{"a":1,"b":2,"c":[]},{}])";
    const JsonValue value = SharedSupport::JSON::parse(text);
    const long before_copy = allocated_blocks();
    { const JsonValue copy = value; }
    const long of_a_copy = allocated_blocks() - before_copy;
    EXPECT_EQ(of_a_copy, 1 + (1 + 3 + 1) + (1 + 3));

    std::string many = "[" + text;
    for (int i = 0; i != 999; ++i)
        many += "," + text;
    many += "]";
    const long before = allocated_blocks();
    const long living_before = living_blocks();
    const JsonValue parsed = SharedSupport::JSON::parse(many);
    const long allocated = allocated_blocks() - before;
    const long staying = living_blocks() - living_before;
    EXPECT_EQ(staying, 1 + 1000 * of_a_copy);
    // Beyond what stays there are only the reader's own buffers, which grow a few times.
    EXPECT_LT(allocated, staying + 50);
    std::cout << allocated << " allocations for " << staying << " that stay\n";
}

} // namespace
