// Writing XML property lists.
#ifndef COREFOUNDATION_SRC_PLIST_XML_WRITER_H
#define COREFOUNDATION_SRC_PLIST_XML_WRITER_H

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFPropertyList.h>

#include <string>

namespace cf::plist {

/// Writes a list and hands out a reference to the bytes. Null, with `problem` filled, if the value is no
/// property list.
CFDataRef write_xml(CFAllocatorRef allocator, CFTypeRef value, std::string& problem);

} // namespace cf::plist

#endif
