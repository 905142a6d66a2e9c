// The references of keyed archives: objects that property lists can hold and that have no public interface.
#ifndef COREFOUNDATION_SRC_ARCHIVER_UID_H
#define COREFOUNDATION_SRC_ARCHIVER_UID_H

#include "runtime.h"

namespace cf {

/// An object of type::archiver_uid. Two of them are equal only if they are the same object.
struct archiver_uid : object {
    std::uint32_t value;
};

/// Makes a reference; null for want of memory.
const archiver_uid* create_archiver_uid(CFAllocatorRef allocator, std::uint32_t value);

} // namespace cf

#endif
