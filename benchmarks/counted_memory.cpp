#include "counted_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

std::atomic<std::size_t> in_use = 0;

void* allocate(std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    in_use.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
    return memory;
}

void release(void* memory) noexcept {
    if (memory != nullptr) in_use.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
    std::free(memory);
}

} // namespace

std::size_t bytes_in_use() noexcept {
    return in_use;
}

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
