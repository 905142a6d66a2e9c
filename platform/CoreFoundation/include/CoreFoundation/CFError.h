/// Errors: a domain, a code within it, and a dictionary of further facts.
#ifndef COREFOUNDATION_CFERROR_H
#define COREFOUNDATION_CFERROR_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

typedef struct __CFError* CFErrorRef; ///< An error object, immutable.

CF_EXPORT const CFStringRef kCFErrorDomainPOSIX;    ///< "NSPOSIXErrorDomain": the code is an errno value.
CF_EXPORT const CFStringRef kCFErrorDomainOSStatus; ///< "NSOSStatusErrorDomain".
CF_EXPORT const CFStringRef kCFErrorDomainMach;     ///< "NSMachErrorDomain".
CF_EXPORT const CFStringRef kCFErrorDomainCocoa;    ///< "NSCocoaErrorDomain".

CF_EXPORT const CFStringRef
    kCFErrorLocalizedDescriptionKey; ///< "NSLocalizedDescription": the whole text for users.
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureKey;       ///< "NSLocalizedFailure": what failed.
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureReasonKey; ///< "NSLocalizedFailureReason": why.
CF_EXPORT const CFStringRef
    kCFErrorLocalizedRecoverySuggestionKey;              ///< "NSLocalizedRecoverySuggestion": what to do.
CF_EXPORT const CFStringRef kCFErrorDescriptionKey;      ///< "NSDescription": a text not meant for users.
CF_EXPORT const CFStringRef kCFErrorDebugDescriptionKey; ///< "NSDebugDescription": a text for developers.
CF_EXPORT const CFStringRef kCFErrorUnderlyingErrorKey; ///< "NSUnderlyingError": the CFError behind this one.
CF_EXPORT const CFStringRef kCFErrorURLKey;             ///< "NSURL": the URL concerned.
CF_EXPORT const CFStringRef kCFErrorFilePathKey;        ///< "NSFilePath": the path concerned.

/// The type identifier of errors.
CF_EXPORT CFTypeID CFErrorGetTypeID(void);
/// Makes an error. `userInfo` is copied and may be NULL; NULL for a NULL domain or want of memory.
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFStringRef domain, CFIndex code,
                                   CFDictionaryRef userInfo);
/// Makes an error whose user info is given as two arrays of `numUserInfoValues` strings and objects.
CF_EXPORT CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFStringRef domain,
                                                            CFIndex code, const void* const* userInfoKeys,
                                                            const void* const* userInfoValues,
                                                            CFIndex numUserInfoValues);
/// The domain, borrowed.
CF_EXPORT CFStringRef CFErrorGetDomain(CFErrorRef err);
/// The code.
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err);
/// The user info, released by the caller: an empty dictionary if none was given.
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err);
/// A text for users, released by the caller: the one given, else one made of failure, reason, domain and
/// code.
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef err);
/// The reason given, or the C runtime's text for a POSIX code; NULL without one. The caller releases it.
CF_EXPORT CFStringRef CFErrorCopyFailureReason(CFErrorRef err);
/// The recovery suggestion given, or NULL. The caller releases it.
CF_EXPORT CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
