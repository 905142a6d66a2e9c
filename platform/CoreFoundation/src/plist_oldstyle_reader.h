// Reading old-style property lists: "{ key = value; list = ( a, b ); }", and files of strings, which are the
// inside of such a dictionary.
#ifndef COREFOUNDATION_SRC_PLIST_OLDSTYLE_READER_H
#define COREFOUNDATION_SRC_PLIST_OLDSTYLE_READER_H

#include "plist_objects.h"

#include <string>
#include <string_view>

namespace cf::plist {

/// Reads a text in UTF-8 and hands out a reference to its value: strings, data, arrays and dictionaries, the
/// latter two always mutable. Nothing but white space and comments is an empty dictionary. Null, with
/// `problem` filled, if the text is no such list.
CFTypeRef read_oldstyle(CFAllocatorRef allocator, std::string_view text, mutability mutable_parts,
                        std::string& problem);

} // namespace cf::plist

#endif
