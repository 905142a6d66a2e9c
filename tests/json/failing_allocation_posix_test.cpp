// Lets the n-th allocation fail, for every n, in the library as well: elsewhere than on Windows this
// program's own operator new serves all of them. Counts what is not given back.
#include <QVSharedSupport/JSON.h>
#include <QVSharedSupport/JSON_RPC_batch.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <new>
#include <string>

namespace {

thread_local long until_failure = -1;
thread_local long allocated = 0;
thread_local long living = 0;

void* allocate(std::size_t size) {
    if (until_failure == 0) throw std::bad_alloc();
    if (until_failure > 0) --until_failure;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    ++allocated;
    ++living;
    return memory;
}

void release(void* memory) noexcept {
    if (memory != nullptr) --living;
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}

namespace {

using namespace QV;

// Runs `work` with memory for n allocations, n = 0, 1, 2... until it is enough.
void run_out_of_memory_everywhere(const std::function<void()>& work) {
    work();
    long failed = 0;
    for (long n = 0;; ++n) {
        ASSERT_LT(n, 10'000);
        const long before = living;
        bool done = false;
        until_failure = n;
        try {
            work();
            done = true;
        } catch (const std::bad_alloc&) {
            ++failed;
        }
        until_failure = -1;
        ASSERT_EQ(living, before) << "allocation " << n;
        if (done) break;
    }
    EXPECT_GT(failed, 0);
    std::cout << failed << " allocations failed in turn\n";
}

const std::string document =
    R"({"a long name of a member":["a long text in an array",1,2,3,{"x":null}],"b":{"c":[[[[]]]]},
    "d":"\u00e9 and a text that is longer than any small buffer of a string would be"})";

TEST(failing_allocation, of_the_parser) {
    run_out_of_memory_everywhere([] { (void)SharedSupport::JSON::parse(document); });
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
TEST(failing_allocation, of_messages) {
    namespace RPC = SharedSupport::JSON_RPC;
    const JsonValue batch = SharedSupport::JSON::parse(
        R"([{"jsonrpc":"2.0","method":"a long name of a method","params":[1],"id":"an id that is long"},
            {"jsonrpc":"2.0","error":{"code":1,"message":"a message of some length","data":[1]},"id":1}])");
    run_out_of_memory_everywhere([&] { (void)JsonArray(std::get<RPC::Batch>(RPC::make_message(batch))); });
}

// A node for each member, a table for each object, the elements of each array; the texts here need none.
TEST(allocations, of_a_value_are_the_fewest_that_its_types_allow) {
    const std::string text = R"([{"a":1,"b":2,"c":[1,2,3]},{"a":1,"b":2,"c":[]},{}])";
    const JsonValue value = SharedSupport::JSON::parse(text);
    allocated = 0;
    { const JsonValue copy = value; }
    const long of_a_copy = allocated;
    EXPECT_EQ(of_a_copy, 1 + (1 + 3 + 1) + (1 + 3));

    std::string many = "[" + text;
    for (int i = 0; i != 999; ++i)
        many += "," + text;
    many += "]";
    const long before = living;
    allocated = 0;
    const JsonValue parsed = SharedSupport::JSON::parse(many);
    EXPECT_EQ(living - before, 1 + 1000 * of_a_copy);
    // Beyond what stays there are only the reader's own buffers, which grow a few times.
    EXPECT_LT(allocated, living - before + 50);
    std::cout << allocated << " allocations for " << living - before << " that stay\n";
}

} // namespace
