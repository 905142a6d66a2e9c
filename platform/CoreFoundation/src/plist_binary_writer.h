// Writing binary property lists.
#ifndef COREFOUNDATION_SRC_PLIST_BINARY_WRITER_H
#define COREFOUNDATION_SRC_PLIST_BINARY_WRITER_H

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFPropertyList.h>

#include <string>

namespace cf::plist {

/// Writes a list and hands out a reference to the bytes. Null, with `problem` filled, if the value is no
/// property list.
///
/// One object is written once, however often the list refers to it; equal objects are written once each.
CFDataRef write_binary(CFAllocatorRef allocator, CFTypeRef value, std::string& problem);

/// Why write_binary() would refuse a value; empty if it would not.
std::string binary_refusal(CFTypeRef value);

} // namespace cf::plist

#endif
