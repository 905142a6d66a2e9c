// Reading binary property lists.
#ifndef COREFOUNDATION_SRC_PLIST_BINARY_READER_H
#define COREFOUNDATION_SRC_PLIST_BINARY_READER_H

#include "plist_objects.h"

#include <string_view>

namespace cf::plist {

/// Reads a list and hands out a reference to its value, or null if it is not one. Beside what a property list
/// may hold there can be nulls and sets, and keys that are no strings.
///
/// An object that the list refers to more than once is one object: so the result is never larger than the
/// list calls for. Mutable strings that serve as keys are not shared with values.
CFTypeRef read_binary(CFAllocatorRef allocator, std::string_view bytes, mutability mutable_parts);

} // namespace cf::plist

#endif
