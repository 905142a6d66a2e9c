#include "failing_allocator.h"

#include <cstdlib>

namespace qv_test {

namespace {

thread_local int left = 0;
thread_local bool any_refused = false;
thread_local int living_blocks = 0;

bool grant() {
    if (left > 0) {
        --left;
        return true;
    }
    any_refused = true;
    return false;
}

void* allocate(CFIndex size, CFOptionFlags, void*) {
    if (!grant()) return nullptr;
    ++living_blocks;
    return std::malloc(static_cast<std::size_t>(size));
}

void* reallocate(void* block, CFIndex size, CFOptionFlags, void*) {
    return grant() ? std::realloc(block, static_cast<std::size_t>(size)) : nullptr;
}

void deallocate(void* block, void*) {
    --living_blocks;
    std::free(block);
}

/// One for the whole process: a default allocator is never released.
CFAllocatorRef counting_allocator() {
    static CFAllocatorContext context = {0,        nullptr,    nullptr,    nullptr, nullptr,
                                         allocate, reallocate, deallocate, nullptr};
    static const CFAllocatorRef allocator = CFAllocatorCreate(kCFAllocatorSystemDefault, &context);
    return allocator;
}

} // namespace

failing_allocator::failing_allocator(int granted) : before_(CFAllocatorGetDefault()) {
    left = granted;
    any_refused = false;
    CFAllocatorSetDefault(counting_allocator());
}

failing_allocator::~failing_allocator() {
    CFAllocatorSetDefault(before_);
}

bool failing_allocator::refused() const {
    return any_refused;
}

int failing_allocator::living() {
    return living_blocks;
}

} // namespace qv_test
