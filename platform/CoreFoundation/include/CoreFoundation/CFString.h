/// Unicode strings: sequences of UTF-16 code units, immutable or mutable.
///
/// Lengths and ranges count UTF-16 units. Unpaired surrogates are kept. A range outside the string is
/// answered with NULL, zero, false or "not found", and changes nothing.
#ifndef COREFOUNDATION_CFSTRING_H
#define COREFOUNDATION_CFSTRING_H

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

/// Names a way of writing text as bytes.
typedef UInt32 CFStringEncoding;
enum {
    kCFStringEncodingMacRoman = 0,           ///< Mac OS Roman.
    kCFStringEncodingWindowsLatin1 = 0x0500, ///< Windows code page 1252.
    kCFStringEncodingISOLatin1 = 0x0201,     ///< ISO 8859-1.
    kCFStringEncodingNextStepLatin = 0x0B01, ///< NEXTSTEP's Latin encoding.
    kCFStringEncodingASCII = 0x0600,         ///< 7 bits; read, bytes from 0x80 up count as ISO Latin 1.
    kCFStringEncodingUnicode = 0x0100,       ///< UTF-16 in the machine's byte order.
    kCFStringEncodingUTF8 = 0x08000100,      ///< UTF-8, read strictly.
    kCFStringEncodingNonLossyASCII = 0x0BFF, ///< 7 bits, the rest as backslash escapes.
    kCFStringEncodingUTF16 = 0x0100,         ///< UTF-16 in the machine's byte order.
    kCFStringEncodingUTF16BE = 0x10000100,   ///< UTF-16, high byte first.
    kCFStringEncodingUTF16LE = 0x14000100,   ///< UTF-16, low byte first.
    kCFStringEncodingUTF32 = 0x0c000100,     ///< UTF-32.
    kCFStringEncodingUTF32BE = 0x18000100,   ///< UTF-32, high byte first.
    kCFStringEncodingUTF32LE = 0x1c000100,   ///< UTF-32, low byte first.
    kCFStringEncodingDOSJapanese = 0x0420,   ///< Windows code page 932.
    kCFStringEncodingShiftJIS = 0x0A01       ///< Shift JIS.
};
/// No encoding.
#define kCFStringEncodingInvalidId (0xffffffffU)

/// How texts are compared and searched.
typedef CFOptionFlags CFStringCompareFlags;
enum {
    kCFCompareCaseInsensitive = 1,        ///< Upper and lower case are the same.
    kCFCompareBackwards = 4,              ///< Searches from the end.
    kCFCompareAnchored = 8,               ///< Finds only at the start (the end, when searching backwards).
    kCFCompareNonliteral = 16,            ///< Composed and decomposed forms are the same.
    kCFCompareLocalized = 32,             ///< In the order of the user's language: without one, by code unit.
    kCFCompareNumerically = 64,           ///< Runs of digits are compared as numbers.
    kCFCompareDiacriticInsensitive = 128, ///< Accents do not count.
    kCFCompareWidthInsensitive = 256,     ///< Full-width and ordinary forms are the same.
    kCFCompareForcedOrdering = 512 ///< Texts that only the other options make equal are ordered all the same.
};

/// The type identifier of strings.
CF_EXPORT CFTypeID CFStringGetTypeID(void);

/// Backs CFSTR: one constant string for each text. The text must be UTF-8; NULL otherwise.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* cStr);
/// A constant string of a literal in UTF-8: the same object for the same text, never released.
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

/// Makes a string of a Pascal string, whose first byte is its length.
CF_EXPORT CFStringRef CFStringCreateWithPascalString(CFAllocatorRef alloc, const unsigned char* pStr,
                                                     CFStringEncoding encoding);
/// Makes a string of a NUL-terminated text. NULL when it is not well formed in `encoding`.
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                                CFStringEncoding encoding);
/// Makes a string of bytes, NULs included. NULL when they are not well formed in `encoding`.
///
/// `isExternalRepresentation` says that UTF-16 may begin with a byte order mark, which is obeyed and removed.
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                              CFStringEncoding encoding, Boolean isExternalRepresentation);
/// Makes a string of UTF-16 units.
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars,
                                                   CFIndex numChars);
/// As CFStringCreateWithCString. The text belongs to `contentsDeallocator` once a string has been made: it is
/// used in place or freed at once. On failure it stays the caller's.
CF_EXPORT CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr,
                                                      CFStringEncoding encoding,
                                                      CFAllocatorRef contentsDeallocator);
/// As CFStringCreateWithBytes; `contentsDeallocator` as in CFStringCreateWithCStringNoCopy.
CF_EXPORT CFStringRef CFStringCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes,
                                                    CFIndex numBytes, CFStringEncoding encoding,
                                                    Boolean isExternalRepresentation,
                                                    CFAllocatorRef contentsDeallocator);
/// As CFStringCreateWithCharacters; `contentsDeallocator` as in CFStringCreateWithCStringNoCopy.
CF_EXPORT CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef alloc, const UniChar* chars,
                                                         CFIndex numChars,
                                                         CFAllocatorRef contentsDeallocator);
/// Makes a string of the units in `range`.
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str, CFRange range);
/// An immutable copy; an immutable string is retained and returned as it is.
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);
/// Makes a string as printf would, with %@ for objects, %S for NUL-terminated UTF-16 and %C for one unit. The
/// format's own text is Unicode; %s is read as the system encoding. `formatOptions` must be NULL.
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                               CFStringRef format, ...);
/// As CFStringCreateWithFormat.
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc,
                                                           CFDictionaryRef formatOptions, CFStringRef format,
                                                           va_list arguments);
/// Makes an empty mutable string. `maxLength` is a hint, no limit; NULL when it is negative.
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);
/// Makes a mutable copy. `maxLength` is a hint.
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength,
                                                       CFStringRef theString);
/// Makes a string of data in `encoding`, as CFStringCreateWithBytes with an external representation.
CF_EXPORT CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data,
                                                               CFStringEncoding encoding);
/// Writes the string in `encoding`, UTF-16 and UTF-32 with a byte order mark. Characters it lacks become
/// `lossByte`, or NULL is returned when that is 0.
CF_EXPORT CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc, CFStringRef theString,
                                                         CFStringEncoding encoding, UInt8 lossByte);

/// The number of UTF-16 units.
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
/// The unit at `idx`; 0 outside the string.
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
/// Copies the units in `range` to `buffer`, which must have room for them.
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);
/// The units where they are stored, borrowed until the string changes or goes; NULL when stored otherwise.
CF_EXPORT const UniChar* CFStringGetCharactersPtr(CFStringRef theString);
/// The text where it is stored, NUL-terminated and borrowed, when it is all ASCII and `encoding` contains
/// ASCII; else NULL. A NUL within the text does not end it.
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
/// Always NULL: strings are not stored as Pascal strings.
CF_EXPORT const unsigned char* CFStringGetPascalStringPtr(CFStringRef theString, CFStringEncoding encoding);
/// Writes the whole text and a NUL to `buffer`. False, with an empty text in the buffer, when it does not fit
/// or does not convert; a `bufferSize` of zero leaves the buffer alone.
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
/// Writes the text as a Pascal string; false when it does not fit (255 bytes at most) or does not convert.
CF_EXPORT Boolean CFStringGetPascalString(CFStringRef theString, unsigned char* buffer, CFIndex bufferSize,
                                          CFStringEncoding encoding);
/// Converts the units in `range` and says how many were converted: up to the first that does not fit or does
/// not convert.
///
/// `lossByte`, if not 0, stands for what does not convert. A NULL `buffer` measures. `usedBufLen`, if not
/// NULL, receives the number of bytes.
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                                   UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                                   CFIndex maxBufLen, CFIndex* usedBufLen);
/// The most bytes that `length` units can take in `encoding`, without a terminator; kCFNotFound when too
/// large.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
/// The encoding of this process for texts of 8 bits: UTF-8, on every system.
CF_EXPORT CFStringEncoding CFStringGetSystemEncoding(void);
/// The encoding with the shortest form that holds the text.
CF_EXPORT CFStringEncoding CFStringGetSmallestEncoding(CFStringRef theString);
/// The encoding the text is fetched in without conversion.
CF_EXPORT CFStringEncoding CFStringGetFastestEncoding(CFStringRef theString);
/// Whether the library can convert to and from `encoding`.
CF_EXPORT Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);
/// The encoding of an IANA name such as "utf-8", in any case; kCFStringEncodingInvalidId when it is unknown.
CF_EXPORT CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef theString);
/// The IANA name of an encoding, borrowed; NULL when there is none.
CF_EXPORT CFStringRef CFStringConvertEncodingToIANACharSetName(CFStringEncoding encoding);

/// Compares two texts by UTF-16 unit, or as the options say.
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                             CFStringCompareFlags compareOptions);
/// Compares the units in `rangeToCompare` of the first text with the whole second one.
CF_EXPORT CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1, CFStringRef theString2,
                                                        CFRange rangeToCompare,
                                                        CFStringCompareFlags compareOptions);
/// As CFStringCompareWithOptions. The locale is not consulted.
CF_EXPORT CFComparisonResult CFStringCompareWithOptionsAndLocale(CFStringRef theString1,
                                                                 CFStringRef theString2,
                                                                 CFRange rangeToCompare,
                                                                 CFStringCompareFlags compareOptions,
                                                                 CFLocaleRef locale);
/// Where `stringToFind` occurs first (last, when backwards); {kCFNotFound, 0} if it does not. An empty text
/// is not found.
CF_EXPORT CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind,
                               CFStringCompareFlags compareOptions);
/// Whether `stringToFind` occurs in `rangeToSearch`; if so `*result`, unless NULL, receives where.
CF_EXPORT Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind,
                                          CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                          CFRange* result);
/// As CFStringFindWithOptions. The locale is not consulted.
CF_EXPORT Boolean CFStringFindWithOptionsAndLocale(CFStringRef theString, CFStringRef stringToFind,
                                                   CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                                   CFLocaleRef locale, CFRange* result);
/// All ranges where the text occurs, as an array of pointers to CFRange that the array owns; NULL if it does
/// not.
CF_EXPORT CFArrayRef CFStringCreateArrayWithFindResults(CFAllocatorRef alloc, CFStringRef theString,
                                                        CFStringRef stringToFind, CFRange rangeToSearch,
                                                        CFStringCompareFlags compareOptions);
/// Whether the text begins with `prefix`. Nothing begins with the empty text.
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix);
/// Whether the text ends in `suffix`. Nothing ends in the empty text.
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix);

/// Joins the strings of an array, `separatorString` between each two.
CF_EXPORT CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef alloc, CFArrayRef theArray,
                                                       CFStringRef separatorString);
/// Splits a text at each occurrence of `separatorString`. NULL when the separator is NULL or empty.
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef alloc, CFStringRef theString,
                                                            CFStringRef separatorString);
/// The decimal number at the start, after blanks, held within the range of SInt32; 0 if there is none.
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef str);
/// The decimal real at the start, after blanks; 0 if there is none.
CF_EXPORT double CFStringGetDoubleValue(CFStringRef str);

/// Adds a text at the end.
CF_EXPORT void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
/// Adds UTF-16 units at the end.
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars);
/// Adds a NUL-terminated text at the end; does nothing when it is not well formed.
CF_EXPORT void CFStringAppendCString(CFMutableStringRef theString, const char* cStr,
                                     CFStringEncoding encoding);
/// Adds a Pascal string at the end; does nothing when it is not well formed.
CF_EXPORT void CFStringAppendPascalString(CFMutableStringRef theString, const unsigned char* pStr,
                                          CFStringEncoding encoding);
/// Adds a formatted text at the end, as CFStringCreateWithFormat makes it.
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                                    CFStringRef format, ...);
/// As CFStringAppendFormat.
CF_EXPORT void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                                                CFStringRef format, va_list arguments);
/// Inserts a text before index `idx`, which may be the length.
CF_EXPORT void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr);
/// Removes the units in `range`.
CF_EXPORT void CFStringDelete(CFMutableStringRef theString, CFRange range);
/// Replaces the units in `range`.
CF_EXPORT void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement);
/// Replaces the whole text.
CF_EXPORT void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement);
/// Replaces every occurrence within `rangeToSearch` and says how many there were.
CF_EXPORT CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind,
                                         CFStringRef replacementString, CFRange rangeToSearch,
                                         CFStringCompareFlags compareOptions);
/// Cuts the text, or extends it with repetitions of `padString` from its unit `indexIntoPad` on.
CF_EXPORT void CFStringPad(CFMutableStringRef theString, CFStringRef padString, CFIndex length,
                           CFIndex indexIntoPad);
/// Removes all occurrences of `trimString` from both ends.
CF_EXPORT void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString);
/// Removes white space from both ends.
CF_EXPORT void CFStringTrimWhitespace(CFMutableStringRef theString);
/// Makes the text lower case. The locale is not consulted.
CF_EXPORT void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale);
/// Makes the text upper case. The locale is not consulted.
CF_EXPORT void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale);
/// Removes the differences that the options (case, accents, width) name. The locale is not consulted.
CF_EXPORT void CFStringFold(CFMutableStringRef theString, CFStringCompareFlags theFlags,
                            CFLocaleRef theLocale);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
