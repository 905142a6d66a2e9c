#include "small_stack.h"

#include <gtest/gtest.h>

#include <pthread.h>

namespace qv_test {

void run_on_small_stack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, QV_SMALL_STACK_MIB << 20), 0);
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    std::function<void()> copy = work;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &copy), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

} // namespace qv_test
