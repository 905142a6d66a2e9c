// The errors of reading and writing property lists.
#ifndef COREFOUNDATION_SRC_PLIST_ERROR_H
#define COREFOUNDATION_SRC_PLIST_ERROR_H

#include <CoreFoundation/CFError.h>

#include <string>

namespace cf::plist {

/// Why none of the readers took a list.
struct read_problem {
    std::string text;     ///< Of the reader that was tried first.
    std::string oldstyle; ///< Of the old-style reader, if it was tried after another.
};

/// Makes an error of the Cocoa domain whose debug description is `text`; null for want of memory. The text of
/// the old-style reader is added as an error of its own.
CFErrorRef create_read_error(CFAllocatorRef allocator, const read_problem& problem);
/// Makes the error of a value that cannot be written in `format`; null for want of memory.
CFErrorRef create_write_error(CFAllocatorRef allocator, CFIndex format, const std::string& why);

} // namespace cf::plist

#endif
