/// Sequences of bytes.
#ifndef COREFOUNDATION_CFDATA_H
#define COREFOUNDATION_CFDATA_H

#include <CoreFoundation/CFBase.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

typedef const struct __CFData* CFDataRef;  ///< Immutable or mutable bytes.
typedef struct __CFData* CFMutableDataRef; ///< Mutable bytes.

/// The type identifier of data objects.
CF_EXPORT CFTypeID CFDataGetTypeID(void);
/// Copies `length` bytes into a new object. NULL for a negative length, or NULL bytes with a length.
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
/// Makes an object that uses `bytes` where they are and gives them to `bytesDeallocator` in the end.
///
/// NULL as the deallocator means the default allocator, kCFAllocatorNull means that the caller keeps the
/// bytes alive. On failure the bytes stay the caller's.
CF_EXPORT CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                                CFAllocatorRef bytesDeallocator);
/// An immutable copy; immutable data is retained and returned as it is.
CF_EXPORT CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef theData);
/// Makes an empty mutable object. `capacity` is a hint, no limit; NULL when it is negative.
CF_EXPORT CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
/// Makes a mutable copy. `capacity` is a hint.
CF_EXPORT CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                   CFDataRef theData);
/// The number of bytes.
CF_EXPORT CFIndex CFDataGetLength(CFDataRef theData);
/// The bytes, borrowed until the object changes or goes; NULL when there are none.
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef theData);
/// The bytes for changing them in place; NULL when the object is immutable or empty.
CF_EXPORT UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData);
/// Copies the bytes in `range` to `buffer`; does nothing when the range lies outside.
CF_EXPORT void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer);
/// Cuts, or extends with zero bytes.
CF_EXPORT void CFDataSetLength(CFMutableDataRef theData, CFIndex length);
/// Extends by `extraLength` zero bytes.
CF_EXPORT void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength);
/// Adds bytes at the end.
CF_EXPORT void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length);
/// Replaces the bytes in `range` by `newLength` others.
CF_EXPORT void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes,
                                  CFIndex newLength);
/// Removes the bytes in `range`.
CF_EXPORT void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
