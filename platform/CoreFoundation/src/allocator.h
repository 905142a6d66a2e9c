// How allocators are stored.
#ifndef COREFOUNDATION_SRC_ALLOCATOR_H
#define COREFOUNDATION_SRC_ALLOCATOR_H

#include "runtime.h"

/// An allocator. `detail` is used.
struct __CFAllocator
    : cf::object { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    CFAllocatorContext context;
};

namespace cf {

/// `detail` of an allocator whose own functions allocated it.
inline constexpr std::uint16_t allocator_made_itself = 1;

/// Gives back an allocator's memory and then what it needed for that.
void free_allocator(object& dead);

} // namespace cf

#endif
