/// Universally unique identifiers of 16 bytes.
#ifndef COREFOUNDATION_CFUUID_H
#define COREFOUNDATION_CFUUID_H

#include <CoreFoundation/CFBase.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

typedef const struct __CFUUID* CFUUIDRef; ///< An identifier, immutable.

/// The bytes of an identifier, the first one first.
typedef struct {
    UInt8 byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7;
    UInt8 byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15;
} CFUUIDBytes;

/// The type identifier of UUIDs.
CF_EXPORT CFTypeID CFUUIDGetTypeID(void);
/// Makes a random identifier (version 4). NULL when the system has no random numbers to give.
CF_EXPORT CFUUIDRef CFUUIDCreate(CFAllocatorRef alloc);
/// Makes an identifier of its bytes.
CF_EXPORT CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef alloc, CFUUIDBytes bytes);
/// Reads "68753A44-4D6F-1226-9C60-0050E4C00067", in either case; NULL for anything else.
CF_EXPORT CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef alloc, CFStringRef uuidStr);
/// The text form, in upper case, released by the caller.
CF_EXPORT CFStringRef CFUUIDCreateString(CFAllocatorRef alloc, CFUUIDRef uuid);
/// The bytes; all zero for NULL.
CF_EXPORT CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
