/// Points in time: seconds since 1 January 2001, 00:00:00 UTC.
#ifndef COREFOUNDATION_CFDATE_H
#define COREFOUNDATION_CFDATE_H

#include <CoreFoundation/CFBase.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;            ///< A span in seconds.
typedef CFTimeInterval CFAbsoluteTime;    ///< Seconds since 1 January 2001, 00:00:00 UTC; negative before.
typedef const struct __CFDate* CFDateRef; ///< A date object, immutable.

/// Seconds from 1 January 1970 to 1 January 2001.
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;
/// Seconds from 1 January 1904 to 1 January 2001.
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1904;

/// The present moment by the system clock.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);
/// The type identifier of dates.
CF_EXPORT CFTypeID CFDateGetTypeID(void);
/// Makes a date of any value, also of one that is not finite.
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
/// The date's value; 0 for NULL.
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);
/// Seconds from `otherDate` to `theDate`.
CF_EXPORT CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate);
/// Which date is earlier. `context` is ignored: the function serves as a CFComparatorFunction.
CF_EXPORT CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void* context);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
