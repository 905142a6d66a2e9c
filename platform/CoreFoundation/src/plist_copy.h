// Checking and copying property lists.
#ifndef COREFOUNDATION_SRC_PLIST_COPY_H
#define COREFOUNDATION_SRC_PLIST_COPY_H

#include "plist_objects.h"

#include <CoreFoundation/CFPropertyList.h>

#include <string>

namespace cf::plist {

/// Why `value` cannot be written in `format`; empty if it can.
std::string refusal(CFTypeRef value, CFPropertyListFormat format);

/// Copies a list and hands out a reference. Null if it holds what no list may, or references of keyed
/// archives.
CFTypeRef deep_copy(CFAllocatorRef allocator, CFTypeRef value, mutability mutable_parts);

} // namespace cf::plist

#endif
