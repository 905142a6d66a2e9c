/// Errors of the ZIP library as CoreFoundation errors; can be included from C.
///
/// Thread safety: any thread at any time. Nothing here blocks or throws.
#ifndef QVSHAREDSUPPORT_ZIP_ERROR_H
#define QVSHAREDSUPPORT_ZIP_ERROR_H

#include <QVSharedSupport/export.h>

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

/// "minizip.zipErrorDomain", the domain of the errors that `zipCreateError` makes. A constant.
extern QV_EXPORT const CFStringRef zipErrorDomain;

/// The text for a return code of minizip-ng: "" for 0, "Unknown error" for a code that has none.
///
/// A constant string, not to be released.
QV_EXPORT CFStringRef zipGetErrorString(int error);

/// An error of the domain `zipErrorDomain` with the code `error`, to be released by the caller; NULL only for
/// want of memory.
///
/// Its description (`kCFErrorDescriptionKey`) is the text of `zipGetErrorString`, but for -1, a failed read
/// or write, the C runtime's text for the calling thread's `errno`, which tells more: call it before anything
/// changes that.
QV_EXPORT CFErrorRef zipCreateError(int error);

CF_EXTERN_C_END

#endif
