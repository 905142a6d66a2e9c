/// Reading and writing property lists: XML, binary and old-style texts of strings, numbers, dates, data,
/// arrays and dictionaries. Input is not trusted: whatever is wrong with it is answered with NULL and an
/// error.
#ifndef COREFOUNDATION_CFPROPERTYLIST_H
#define COREFOUNDATION_CFPROPERTYLIST_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFString.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

/// What a property list is made mutable.
typedef CFOptionFlags CFPropertyListMutabilityOptions;
enum {
    kCFPropertyListImmutable = 0,                 ///< Nothing need be mutable.
    kCFPropertyListMutableContainers = 1,         ///< Arrays and dictionaries are mutable.
    kCFPropertyListMutableContainersAndLeaves = 2 ///< Strings and data are mutable as well.
};

/// The formats of property lists.
typedef CFIndex CFPropertyListFormat;
enum {
    kCFPropertyListOpenStepFormat = 1,     ///< The old-style text: read only.
    kCFPropertyListXMLFormat_v1_0 = 100,   ///< XML, version 1.0.
    kCFPropertyListBinaryFormat_v1_0 = 200 ///< Binary, version "00".
};

/// The codes of errors in the domain kCFErrorDomainCocoa.
enum {
    kCFPropertyListReadCorruptError = 3840,        ///< The bytes are no property list.
    kCFPropertyListReadUnknownVersionError = 3841, ///< The version is not known.
    kCFPropertyListReadStreamError = 3842,         ///< The stream failed while being read.
    kCFPropertyListWriteStreamError = 3851         ///< The value cannot be written.
};

/// Reads a list from `data` in whatever format it is. NULL when that fails.
///
/// Refused are also lists nested deeper than 512 levels, and binary ones with sets that take unreasonably
/// long to tell their elements apart: more than some thousand arrays, or dictionaries, of one length.
///
/// @param format  if not NULL, receives the format on success and is left alone on failure
/// @param error   if not NULL, receives an error to be released by the caller on failure, and is left alone
/// on success
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error);
/// Writes a list in XML or binary; `options` must be 0. NULL when that fails.
///
/// @param error   if not NULL, receives an error to be released by the caller when the value is no property
/// list
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options,
                                             CFErrorRef* error);
/// As CFPropertyListCreateWithData; on failure `*errorString` receives a text to be released by the caller.
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                            CFOptionFlags mutabilityOption,
                                                            CFStringRef* errorString);
/// Writes a list in XML. NULL when the value is no property list.
CF_EXPORT CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef propertyList);
/// Copies a list with all it contains, mutable as asked. NULL when the value is no property list.
CF_EXPORT CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator,
                                                         CFPropertyListRef propertyList,
                                                         CFOptionFlags mutabilityOption);
/// Whether the value can be written in `format`.
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
