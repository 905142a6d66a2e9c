// How arrays, dictionaries and sets are stored, and the quick ways to make them.
//
// The makers here are for collections of objects (those with the kCFType call-backs). They adopt the
// references they are handed: on success these belong to the collection, on failure (null, for want of
// memory) they stay the caller's.
#ifndef COREFOUNDATION_SRC_CONTAINERS_H
#define COREFOUNDATION_SRC_CONTAINERS_H

#include "runtime.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFSet.h>

#include <span>

/// An array.
struct __CFArray
    : cf::container { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    const CFArrayCallBacks* callbacks; ///< A constant or a copy that the array owns; never null.
    CFIndex count;
    CFIndex capacity;
    const void** values; ///< Behind the object or in a block of their own.
};

namespace cf {

/// An entry of a dictionary, or a set's value as `key`.
struct entry {
    const void* key;
    const void* value;
    CFHashCode hash; ///< Of the key, mixed.
};

/// The call-backs of a dictionary or set, in one form.
struct table_callbacks {
    CFDictionaryKeyCallBacks key;
    CFDictionaryValueCallBacks value;
};

/// A hash table: the entries lie one after the other, and above a handful of them an index finds them by
/// hash.
struct table : container {
    const table_callbacks* callbacks; ///< A constant or a copy that the table owns; never null.
    CFIndex count;
    CFIndex capacity;
    entry* entries;           ///< Behind the table or in a block of their own; null while there is none.
    std::uint32_t* index;     ///< Open addressing: entry number + 1, or 0. Null for small tables.
    std::uint64_t index_mask; ///< Size of the index, a power of two, less one.
};

/// Which entry stays when keys are equal.
enum class repeated_keys { first_wins, last_wins };

} // namespace cf

struct __CFDictionary : cf::table {}; // NOLINT(bugprone-reserved-identifier): as above
struct __CFSet : cf::table {};        // NOLINT(bugprone-reserved-identifier): as above

namespace cf {

/// Makes an array of objects that are not NULL.
CFArrayRef create_array_adopting(CFAllocatorRef allocator, std::span<const CFTypeRef> values,
                                 bool is_mutable);
/// Makes a dictionary of as many keys as values, none of them NULL. What repeated keys leave over is
/// released.
CFDictionaryRef create_dictionary_adopting(CFAllocatorRef allocator, std::span<const CFTypeRef> keys,
                                           std::span<const CFTypeRef> values, bool is_mutable,
                                           repeated_keys rule);
/// Makes a set of objects that are not NULL. Repeated values are released.
CFSetRef create_set_adopting(CFAllocatorRef allocator, std::span<const CFTypeRef> values, bool is_mutable);

/// The values of an array that is not NULL, borrowed.
inline std::span<const void* const> values_of(CFArrayRef array) {
    return {array->values, static_cast<std::size_t>(array->count)};
}
/// The entries of a dictionary or set that is not NULL, borrowed.
inline std::span<const entry> entries_of(const table* table) {
    return {table->entries, static_cast<std::size_t>(table->count)};
}

} // namespace cf

#endif
