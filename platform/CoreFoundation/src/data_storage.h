// How data is stored, and the quick way to make it.
#ifndef COREFOUNDATION_SRC_DATA_STORAGE_H
#define COREFOUNDATION_SRC_DATA_STORAGE_H

#include "runtime.h"

#include <CoreFoundation/CFData.h>

/// A sequence of bytes. `detail` is used.
struct __CFData
    : cf::object { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    CFIndex length;
    CFIndex capacity;
    UInt8* bytes;                   ///< Behind the object or in a block of their own.
    CFAllocatorRef bytes_allocator; ///< Of bytes that are used where they are: resolved and retained.
};

namespace cf {

/// `detail` of data that uses bytes where they are.
inline constexpr std::uint16_t data_is_external = 1;

/// Makes data of `length` bytes, which the caller writes to `*storage` before anyone sees it. Null for want
/// of memory.
CFDataRef create_data(CFAllocatorRef allocator, CFIndex length, UInt8** storage);

} // namespace cf

#endif
