#include "failing_allocator.h"

#include <cstdlib>

namespace qv_test {

namespace {

thread_local int objects_left = 0;
thread_local bool any_refused = false;
thread_local int living_objects = 0;

bool grant() {
    if (objects_left > 0) {
        --objects_left;
        return true;
    }
    any_refused = true;
    return false;
}

void* allocate(CFIndex size, CFOptionFlags, void*) {
    if (!grant()) return nullptr;
    ++living_objects;
    return std::malloc(static_cast<std::size_t>(size));
}

void* reallocate(void* block, CFIndex size, CFOptionFlags, void*) {
    return grant() ? std::realloc(block, static_cast<std::size_t>(size)) : nullptr;
}

void deallocate(void* block, void*) {
    --living_objects;
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
    objects_left = granted;
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
    return living_objects;
}

} // namespace qv_test
