/// Uniform resource locators, absolute or relative to a base, and their relation to file paths.
#ifndef COREFOUNDATION_CFURL_H
#define COREFOUNDATION_CFURL_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFString.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

typedef const struct __CFURL* CFURLRef; ///< A URL, immutable.

/// The styles of file paths.
typedef CFIndex CFURLPathStyle;
enum {
    kCFURLPOSIXPathStyle = 0,  ///< "/Users/Shared"
    kCFURLHFSPathStyle = 1,    ///< Not supported: gives NULL.
    kCFURLWindowsPathStyle = 2 ///< "C:\\Users\\Public", "\\\\server\\share"
};

/// The type identifier of URLs.
CF_EXPORT CFTypeID CFURLGetTypeID(void);
/// Makes a URL of its text, which must be of the characters that URLs may hold; NULL otherwise. `baseURL` may
/// be NULL.
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL);
/// Makes a URL of the bytes of its text in `encoding`, under the same rule.
CF_EXPORT CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes, CFIndex length,
                                        CFStringEncoding encoding, CFURLRef baseURL);
/// Makes a file URL of a path; what URLs may not hold is percent-escaped. NULL for an empty path.
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
/// The same URL without a base, released by the caller.
CF_EXPORT CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL);
/// The text the URL was made of, borrowed.
CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
/// The base, borrowed, or NULL.
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef anURL);
/// Whether there is a path, that is, whether what follows the scheme begins with a slash or there is no
/// scheme.
CF_EXPORT Boolean CFURLCanBeDecomposed(CFURLRef anURL);
/// The scheme without its colon, or NULL. This and the other parts are released by the caller.
CF_EXPORT CFStringRef CFURLCopyScheme(CFURLRef anURL);
/// User, host and port as they stand, or NULL.
CF_EXPORT CFStringRef CFURLCopyNetLocation(CFURLRef anURL);
/// The path as it stands, percent escapes and all, or NULL.
CF_EXPORT CFStringRef CFURLCopyPath(CFURLRef anURL);
/// The path as the file system has it, percent escapes resolved and without a final slash.
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
/// The host name without brackets, or NULL.
CF_EXPORT CFStringRef CFURLCopyHostName(CFURLRef anURL);
/// The port, or -1.
CF_EXPORT SInt32 CFURLGetPortNumber(CFURLRef anURL);
/// What follows the question mark, or NULL; escapes named in `charactersToLeaveEscaped` stay (NULL: all
/// stay).
CF_EXPORT CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);
/// What follows the number sign, or NULL; escapes as with the query.
CF_EXPORT CFStringRef CFURLCopyFragment(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);
/// The last part of the path, percent escapes resolved.
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef anURL);
/// Whether the path ends in a slash, or is "." or "..".
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
