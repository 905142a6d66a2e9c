// The order in which dictionaries are written.
#ifndef COREFOUNDATION_SRC_PLIST_SORTED_ENTRIES_H
#define COREFOUNDATION_SRC_PLIST_SORTED_ENTRIES_H

#include "containers.h"
#include "string_storage.h"

#include <cstdint>
#include <span>
#include <vector>

namespace cf::plist {

/// An entry of a dictionary, borrowed, with the first characters of its key as a number that orders as they
/// do.
struct sorted_entry {
    std::uint64_t prefix;
    const entry* source;
};

/// Adds the entries, whose keys are strings, to the end of `to` in the order of their keys' UTF-16 units.
void append_sorted(std::span<const entry> entries, std::vector<sorted_entry>& to);

} // namespace cf::plist

#endif
