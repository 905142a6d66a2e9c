// This program's own operator new serves its libraries as well.
#include "memory_watch.h"

#include <cstdlib>
#include <new>

namespace test {
namespace {

thread_local memory_watch* current = nullptr;

void* allocate(std::size_t size) {
    if (current != nullptr && !current->asks(size)) throw std::bad_alloc();
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

} // namespace

memory_watch::memory_watch(std::function<bool(std::size_t)> grant) : grant_(std::move(grant)) {
    current = this;
}

memory_watch::~memory_watch() {
    current = nullptr;
}

} // namespace test

void* operator new(std::size_t size) {
    return test::allocate(size);
}
void* operator new[](std::size_t size) {
    return test::allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
