// Reading XML property lists.
#ifndef COREFOUNDATION_SRC_PLIST_XML_READER_H
#define COREFOUNDATION_SRC_PLIST_XML_READER_H

#include "plist_objects.h"

#include <string>
#include <string_view>

namespace cf::plist {

/// Reads the first element of a text in UTF-8 (what follows it is not looked at) and hands out a reference to
/// its value. Null, with `problem` filled, if that fails.
CFTypeRef read_xml(CFAllocatorRef allocator, std::string_view text, mutability mutable_parts,
                   std::string& problem);

} // namespace cf::plist

#endif
