#include "failing_new.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <new>

namespace qv_test {

namespace {

thread_local long left = -1;
thread_local long allocated = 0;
thread_local long living = 0;

void* allocate(std::size_t size) {
    if (left == 0) throw std::bad_alloc();
    if (left > 0) --left;
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

long allocated_blocks() noexcept {
    return allocated;
}

long living_blocks() noexcept {
    return living;
}

void limit_blocks(long count) noexcept {
    left = count;
}

bool is_out_of_blocks() noexcept {
    return left == 0;
}

void run_out_of_memory_everywhere(const std::function<void()>& work,
                                  const std::function<void(bool ran_out)>& check) {
    // What is made once and stays is made here.
    work();
    if (check) check(false);
    long failed = 0;
    for (long count = 0;; ++count) {
        ASSERT_LT(count, 100'000);
        const long before = living;
        bool has_returned = false;
        left = count;
        try {
            work();
            has_returned = true;
        } catch (const std::bad_alloc&) {
            ++failed;
        }
        const bool ran_out = left == 0;
        left = -1;
        if (has_returned && check) check(ran_out);
        ASSERT_EQ(living, before) << "block " << count;
        if (!ran_out) break;
    }
    EXPECT_GT(failed, 0);
    std::cout << failed << " allocations failed in turn\n";
}

} // namespace qv_test

void* operator new(std::size_t size) {
    return qv_test::allocate(size);
}
void* operator new[](std::size_t size) {
    return qv_test::allocate(size);
}
void operator delete(void* memory) noexcept {
    qv_test::release(memory);
}
void operator delete[](void* memory) noexcept {
    qv_test::release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    qv_test::release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    qv_test::release(memory);
}
