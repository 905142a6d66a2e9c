/// Whether an error's description is fit for the user's eyes.
///
/// Thread safety: any thread at any time. Nothing here blocks or throws.
#pragma once

#include <CFAdapters/export.h>

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

/// "IsFriendly", the user-info key whose value, a boolean, says whether the description is fit for users.
CFADAPTERS_EXPORT extern const CFStringRef kCFErrorIsFriendlyKey;

/// Whether the user info of `error` holds true under `kCFErrorIsFriendlyKey`.
///
/// False without such an entry, for a value that is no boolean, and for NULL.
CFADAPTERS_EXPORT Boolean CFErrorIsFriendly(CFErrorRef error);
}
