#include <QVSharedSupport/oneshot_function.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using QV::oneshot_function;

int twice(int n) {
    return 2 * n;
}

static_assert(!std::is_copy_constructible_v<oneshot_function<void()>>);
static_assert(std::is_nothrow_move_constructible_v<oneshot_function<void()>>);
static_assert(sizeof(oneshot_function<void()>) == sizeof(void*), "one owning pointer");
static_assert(!std::is_constructible_v<oneshot_function<void(int)>, void (*)(std::string)>);

TEST(oneshot_function, calls_once_and_is_empty_afterwards) {
    int calls = 0;
    oneshot_function<void()> function = [&] { ++calls; };
    ASSERT_TRUE(function);
    function();
    EXPECT_FALSE(function);
    EXPECT_THROW(function(), std::bad_function_call);
    EXPECT_EQ(calls, 1);
}

TEST(oneshot_function, throws_when_empty) {
    oneshot_function<int(int)> function;
    EXPECT_FALSE(function);
    EXPECT_THROW(function(1), std::bad_function_call);
    EXPECT_THROW(oneshot_function<int(int)>(nullptr)(1), std::bad_function_call);
}

TEST(oneshot_function, is_empty_when_made_from_nothing) {
    EXPECT_FALSE(oneshot_function<int(int)>(static_cast<int (*)(int)>(nullptr)));
    EXPECT_FALSE(oneshot_function<int(int)>(std::function<int(int)>()));
    EXPECT_FALSE((oneshot_function<long(int)>(oneshot_function<int(int)>())));
    EXPECT_TRUE(oneshot_function<int(int)>(twice));
}

TEST(oneshot_function, passes_arguments_and_result_without_copies) {
    oneshot_function<std::unique_ptr<int>(std::unique_ptr<int>, int&)> function =
        [extra = std::make_unique<int>(5)](std::unique_ptr<int> p, int& seen) {
            seen = *p;
            *p += *extra;
            return p;
        };
    int seen = 0;
    EXPECT_EQ(*function(std::make_unique<int>(2), seen), 7);
    EXPECT_EQ(seen, 2);
}

TEST(oneshot_function, moves) {
    oneshot_function<int(int)> first = twice;
    oneshot_function<int(int)> second = std::move(first);
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move): a moved-from one is empty
    oneshot_function<int(int)> third;
    third = std::move(second);
    EXPECT_FALSE(second); // NOLINT(bugprone-use-after-move)
    swap(third, first);
    EXPECT_EQ(first(4), 8);
}

TEST(oneshot_function, destroys_its_target_once) {
    auto alive = std::make_shared<int>();
    {
        const oneshot_function<void()> never_called = [alive] {};
        EXPECT_EQ(alive.use_count(), 2);
    }
    EXPECT_EQ(alive.use_count(), 1);
    oneshot_function<void()> replaced = [alive] {};
    replaced = [] {};
    EXPECT_EQ(alive.use_count(), 1);
    oneshot_function<void()> throwing = [alive] { throw std::runtime_error("from inside"); };
    EXPECT_THROW(throwing(), std::runtime_error);
    EXPECT_EQ(alive.use_count(), 1);
    EXPECT_FALSE(throwing);
}

TEST(oneshot_function, may_destroy_its_owner) {
    struct owner {
        oneshot_function<void()> handler;
    };
    auto object = std::make_unique<owner>();
    bool called = false;
    object->handler = [&] {
        object.reset();
        called = true;
    };
    object->handler();
    EXPECT_TRUE(called);
    EXPECT_EQ(object, nullptr);
}

} // namespace
