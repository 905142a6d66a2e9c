#include "allocator.h"

#include <CoreFoundation/CFString.h>

#include <cstdlib>
#include <limits>

namespace {

void* system_allocate(CFIndex size, CFOptionFlags, void*) {
    return std::malloc(static_cast<std::size_t>(size));
}

void* system_reallocate(void* block, CFIndex size, CFOptionFlags, void*) {
    return std::realloc(block, static_cast<std::size_t>(size));
}

void system_deallocate(void* block, void*) {
    std::free(block);
}

constexpr CFAllocatorContext system_context = {
    0, nullptr, nullptr, nullptr, nullptr, system_allocate, system_reallocate, system_deallocate, nullptr};
constexpr CFAllocatorContext null_context = {};

constinit const __CFAllocator system_default = {{{cf::immortal}, cf::type::allocator, false, 0, nullptr},
                                                system_context};
constinit const __CFAllocator malloc_allocator = {{{cf::immortal}, cf::type::allocator, false, 0, nullptr},
                                                  system_context};
constinit const __CFAllocator malloc_zone = {{{cf::immortal}, cf::type::allocator, false, 0, nullptr},
                                             system_context};
constinit const __CFAllocator null_allocator = {{{cf::immortal}, cf::type::allocator, false, 0, nullptr},
                                                null_context};
constinit const __CFAllocator use_context = {{{cf::immortal}, cf::type::allocator, false, 0, nullptr},
                                             system_context};

// This thread's default allocator; null while it is the system's.
thread_local CFAllocatorRef thread_default = nullptr;

} // namespace

extern "C" {

constinit const CFAllocatorRef kCFAllocatorDefault = nullptr;
constinit const CFAllocatorRef kCFAllocatorSystemDefault = &system_default;
constinit const CFAllocatorRef kCFAllocatorMalloc = &malloc_allocator;
constinit const CFAllocatorRef kCFAllocatorMallocZone = &malloc_zone;
constinit const CFAllocatorRef kCFAllocatorNull = &null_allocator;
constinit const CFAllocatorRef kCFAllocatorUseContext = &use_context;

} // extern "C"

namespace cf {

constinit std::atomic<bool> a_default_was_set{false};

CFAllocatorRef resolve_slowly(CFAllocatorRef allocator) {
    if (allocator == nullptr) allocator = thread_default;
    if (allocator == &system_default || !is(allocator, type::allocator)) return nullptr;
    return allocator;
}

void* allocate(CFAllocatorRef resolved, std::size_t size) {
    if (resolved == nullptr) return std::malloc(size);
    const CFAllocatorContext& context = resolved->context;
    if (context.allocate == nullptr || size > static_cast<std::size_t>(std::numeric_limits<CFIndex>::max()))
        return nullptr;
    return context.allocate(static_cast<CFIndex>(size), 0, context.info);
}

void* reallocate(CFAllocatorRef resolved, void* block, std::size_t size) {
    if (resolved == nullptr) return std::realloc(block, size);
    if (block == nullptr) return allocate(resolved, size);
    const CFAllocatorContext& context = resolved->context;
    if (context.reallocate == nullptr || size > static_cast<std::size_t>(std::numeric_limits<CFIndex>::max()))
        return nullptr;
    return context.reallocate(block, static_cast<CFIndex>(size), 0, context.info);
}

void deallocate(CFAllocatorRef resolved, void* block) {
    if (block == nullptr) return;
    if (resolved == nullptr) return std::free(block);
    const CFAllocatorContext& context = resolved->context;
    if (context.deallocate != nullptr) context.deallocate(block, context.info);
}

void free_allocator(object& dead) {
    auto& allocator = static_cast<__CFAllocator&>(dead);
    const CFAllocatorContext context = allocator.context;
    CFAllocatorRef made_with = allocator.allocator;
    const bool made_itself = allocator.detail == allocator_made_itself;
    if (made_itself) {
        if (context.deallocate != nullptr) context.deallocate(&allocator, context.info);
    } else {
        deallocate(made_with, &allocator);
    }
    if (context.release != nullptr) context.release(context.info);
    if (made_with != nullptr) release(made_with);
}

namespace {

CFStringRef describe(const object& self) {
    const auto& allocator = static_cast<const __CFAllocator&>(self);
    const CFAllocatorContext& context = allocator.context;
    const owned<CFStringRef> heading(copy_heading(self, "CFAllocator"));
    const owned<CFStringRef> info(context.copyDescription != nullptr
                                      ? context.copyDescription(context.info)
                                      : CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%p"),
                                                                 static_cast<const void*>(context.info)));
    if (!heading) return nullptr;
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@{info = %@}"), heading.get(), info.get());
}

} // namespace

constinit const type_info allocator_type_info = {"CFAllocator", false, nullptr, nullptr, nullptr, describe};

} // namespace cf

CFTypeID CFAllocatorGetTypeID() {
    return static_cast<CFTypeID>(cf::type::allocator);
}

void CFAllocatorSetDefault(CFAllocatorRef allocator) {
    if (!cf::is(allocator, cf::type::allocator) || allocator == &use_context) return;
    cf::retain(allocator);
    thread_default = allocator;
    cf::a_default_was_set.store(true, std::memory_order_relaxed);
}

CFAllocatorRef CFAllocatorGetDefault() {
    return thread_default != nullptr ? thread_default : &system_default;
}

CFAllocatorRef CFAllocatorCreate(CFAllocatorRef allocator, CFAllocatorContext* context) {
    if (context == nullptr) return nullptr;
    const bool makes_itself = allocator == &use_context;
    __CFAllocator* made = nullptr;
    if (makes_itself) {
        if (context->allocate == nullptr) return nullptr;
        void* memory = context->allocate(static_cast<CFIndex>(sizeof(__CFAllocator)), 0, context->info);
        if (memory == nullptr) return nullptr;
        made = ::new (memory) __CFAllocator{};
        made->references.store(1, std::memory_order_relaxed);
        made->kind = cf::type::allocator;
        made->detail = cf::allocator_made_itself;
    } else {
        made = cf::make<__CFAllocator>(allocator, cf::type::allocator);
        if (made == nullptr) return nullptr;
    }
    made->context = *context;
    if (context->retain != nullptr && context->info != nullptr)
        made->context.info = const_cast<void*>(context->retain(context->info));
    return made;
}

void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags) {
    return size <= 0 ? nullptr : cf::allocate(cf::resolve(allocator), static_cast<std::size_t>(size));
}

void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize, CFOptionFlags) {
    CFAllocatorRef resolved = cf::resolve(allocator);
    if (newsize <= 0) {
        cf::deallocate(resolved, ptr);
        return nullptr;
    }
    return cf::reallocate(resolved, ptr, static_cast<std::size_t>(newsize));
}

void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr) {
    cf::deallocate(cf::resolve(allocator), ptr);
}

CFIndex CFAllocatorGetPreferredSizeForSize(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint) {
    CFAllocatorRef resolved = cf::resolve(allocator);
    if (resolved == nullptr || resolved->context.preferredSize == nullptr || size <= 0) return size;
    const CFIndex preferred = resolved->context.preferredSize(size, hint, resolved->context.info);
    return preferred > size ? preferred : size;
}

void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context) {
    if (context == nullptr || context->version != 0) return;
    CFAllocatorRef resolved = cf::resolve(allocator);
    *context = resolved == nullptr ? system_context : resolved->context;
}
