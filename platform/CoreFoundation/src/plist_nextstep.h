// The character set of NeXTSTEP, which octal escapes in old-style property lists refer to.
#ifndef COREFOUNDATION_SRC_PLIST_NEXTSTEP_H
#define COREFOUNDATION_SRC_PLIST_NEXTSTEP_H

#include <CoreFoundation/CFString.h>

namespace cf::plist {

/// The UTF-16 unit for a code; 0 for the two codes that mean nothing.
UniChar nextstep_to_unicode(unsigned char code);

} // namespace cf::plist

#endif
