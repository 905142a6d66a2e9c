/// The types every other header uses, allocators, and what holds for objects of every type.
///
/// Ownership: what a function with Create or Copy in its name returns belongs to the caller, who gives it
/// back with CFRelease; what a function with Get in its name returns is borrowed from its owner.
///
/// Thread safety: reference counts may be changed from any thread. Immutable objects may be read from any
/// number of threads at once; a mutable object must not be changed while another thread uses it. Nothing here
/// blocks.
///
/// Bad arguments: NULL objects and objects of a type a function does not expect are answered with NULL, zero
/// or false, never with a crash. Changing an immutable object does nothing. No function throws.
#ifndef COREFOUNDATION_CFBASE_H
#define COREFOUNDATION_CFBASE_H

// The names, and their being typedefs, are those of the public interface, which C programs read as well.
// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using, modernize-deprecated-headers)
// NOLINTBEGIN(bugprone-macro-parentheses)

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

/// Marks what the library exports. CoreFoundation_EXPORTS is defined only while the library itself is built.
#if defined(_WIN32)
#if defined(CoreFoundation_EXPORTS)
#define CF_EXPORT extern __declspec(dllexport)
#else
#define CF_EXPORT extern __declspec(dllimport)
#endif
#else
#define CF_EXPORT extern __attribute__((visibility("default")))
#endif

/// Marks a function that is defined in a header.
#define CF_INLINE static inline

CF_EXTERN_C_BEGIN

typedef unsigned char Boolean;    ///< 0 is false, anything else is true.
typedef uint8_t UInt8;            ///< An unsigned byte.
typedef int8_t SInt8;             ///< A signed byte.
typedef uint16_t UInt16;          ///< 16 bits, unsigned.
typedef int16_t SInt16;           ///< 16 bits, signed.
typedef uint32_t UInt32;          ///< 32 bits, unsigned.
typedef int32_t SInt32;           ///< 32 bits, signed.
typedef uint64_t UInt64;          ///< 64 bits, unsigned.
typedef int64_t SInt64;           ///< 64 bits, signed.
typedef float Float32;            ///< A 32-bit real.
typedef double Float64;           ///< A 64-bit real.
typedef SInt32 OSStatus;          ///< A system status code.
typedef UInt16 UniChar;           ///< One UTF-16 code unit.
typedef UInt32 UTF32Char;         ///< One Unicode scalar value.
typedef unsigned char* StringPtr; ///< A Pascal string.

// The widest integer that fits a pointer: `long` has 32 bits on 64-bit Windows.
#if defined(_WIN64)
typedef unsigned long long CFTypeID;      ///< Names a type within this process.
typedef unsigned long long CFOptionFlags; ///< A set of option bits.
typedef unsigned long long CFHashCode;    ///< What CFHash returns.
typedef signed long long CFIndex;         ///< Counts, indexes and lengths.
#else
typedef unsigned long CFTypeID;      ///< Names a type within this process.
typedef unsigned long CFOptionFlags; ///< A set of option bits.
typedef unsigned long CFHashCode;    ///< What CFHash returns.
typedef signed long CFIndex;         ///< Counts, indexes and lengths.
#endif

typedef const void* CFTypeRef;                      ///< An object of any type.
typedef const struct __CFString* CFStringRef;       ///< An immutable or mutable string.
typedef struct __CFString* CFMutableStringRef;      ///< A mutable string.
typedef const struct __CFAllocator* CFAllocatorRef; ///< An allocator.
typedef const struct __CFLocale* CFLocaleRef;       ///< A locale. None can be made here: pass NULL.
typedef CFTypeRef CFPropertyListRef; ///< A string, data, date, number, boolean, array or dictionary.

/// The answer of a comparison.
typedef CFIndex CFComparisonResult;
enum {
    kCFCompareLessThan = -1,  ///< The first comes before the second.
    kCFCompareEqualTo = 0,    ///< Neither comes before the other.
    kCFCompareGreaterThan = 1 ///< The first comes after the second.
};

/// Compares two values; `context` is what the caller passed beside the function.
typedef CFComparisonResult (*CFComparatorFunction)(const void* val1, const void* val2, void* context);

/// What a search returns that found nothing.
enum { kCFNotFound = -1 };

/// A stretch of units, items or bytes.
typedef struct {
    CFIndex location; ///< The first one.
    CFIndex length;   ///< How many.
} CFRange;

/// A range of `length` that begins at `location`.
CF_INLINE CFRange CFRangeMake(CFIndex location, CFIndex length) {
    CFRange range;
    range.location = location;
    range.length = length;
    return range;
}

/// Retains an allocator's context.
typedef const void* (*CFAllocatorRetainCallBack)(const void* info);
/// Releases an allocator's context.
typedef void (*CFAllocatorReleaseCallBack)(const void* info);
/// Describes an allocator's context; the caller releases the string.
typedef CFStringRef (*CFAllocatorCopyDescriptionCallBack)(const void* info);
/// Returns `allocSize` bytes aligned for any object, or NULL when there are none.
typedef void* (*CFAllocatorAllocateCallBack)(CFIndex allocSize, CFOptionFlags hint, void* info);
/// Resizes a block that the same allocator returned; NULL leaves the old block as it was.
typedef void* (*CFAllocatorReallocateCallBack)(void* ptr, CFIndex newsize, CFOptionFlags hint, void* info);
/// Frees a block that the same allocator returned.
typedef void (*CFAllocatorDeallocateCallBack)(void* ptr, void* info);
/// Says how many bytes a request for `size` bytes really yields.
typedef CFIndex (*CFAllocatorPreferredSizeCallBack)(CFIndex size, CFOptionFlags hint, void* info);

/// What an allocator is made of. A call-back that is NULL is not called.
typedef struct {
    CFIndex version;                    ///< 0.
    void* info;                         ///< Handed to every call-back.
    CFAllocatorRetainCallBack retain;   ///< Called once on `info` when the allocator is made.
    CFAllocatorReleaseCallBack release; ///< Called on the retained `info` when the allocator goes.
    CFAllocatorCopyDescriptionCallBack copyDescription; ///< For debugging texts.
    CFAllocatorAllocateCallBack allocate;               ///< Without it every request fails.
    CFAllocatorReallocateCallBack reallocate;           ///< Without it resizing fails.
    CFAllocatorDeallocateCallBack deallocate;           ///< Without it memory is never given back.
    CFAllocatorPreferredSizeCallBack preferredSize;     ///< Without it the size asked for is the answer.
} CFAllocatorContext;

/// NULL: the thread's default allocator.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
/// The allocator that is the default unless CFAllocatorSetDefault named another.
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
/// malloc, realloc and free.
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
/// malloc, realloc and free.
CF_EXPORT const CFAllocatorRef kCFAllocatorMallocZone;
/// Allocates nothing and frees nothing: as a bytes deallocator it leaves the bytes to their owner.
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;
/// For CFAllocatorCreate: the new allocator's own functions allocate the allocator itself.
CF_EXPORT const CFAllocatorRef kCFAllocatorUseContext;

/// The type identifier of allocators.
CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);
/// Makes this thread's default allocator `allocator`, which stays retained for ever. NULL is ignored.
CF_EXPORT void CFAllocatorSetDefault(CFAllocatorRef allocator);
/// This thread's default allocator, borrowed; never NULL.
CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);
/// Makes an allocator that uses the call-backs of `context`; NULL without a context or without memory.
CF_EXPORT CFAllocatorRef CFAllocatorCreate(CFAllocatorRef allocator, CFAllocatorContext* context);
/// Allocates `size` bytes, uninitialised; NULL when there are none, and for a size of zero or less.
CF_EXPORT void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
/// Resizes `ptr` to `newsize` bytes. A NULL `ptr` allocates, a `newsize` of zero or less frees and gives
/// NULL.
CF_EXPORT void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize,
                                      CFOptionFlags hint);
/// Frees what `allocator` allocated. A NULL `ptr` is ignored.
CF_EXPORT void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr);
/// How many bytes a request for `size` bytes would yield.
CF_EXPORT CFIndex CFAllocatorGetPreferredSizeForSize(CFAllocatorRef allocator, CFIndex size,
                                                     CFOptionFlags hint);
/// Copies the allocator's context to `*context`, whose version must be 0.
CF_EXPORT void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context);

/// The type identifier of `cf`; 0, which is no type, for NULL.
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
/// The name of a type, such as "CFString"; the caller releases it. NULL for an unknown identifier.
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
/// Adds a reference and returns `cf`. NULL is returned as it is. Constants are not counted.
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
/// Gives a reference back and destroys the object with its last one. NULL is ignored.
///
/// However deeply containers are nested, destroying them takes constant stack.
CF_EXPORT void CFRelease(CFTypeRef cf);
/// Gives a reference back to the owner's autorelease pool: there are no pools here, so the reference stays.
/// Returns `cf`.
CF_EXPORT CFTypeRef CFAutorelease(CFTypeRef cf);
/// How many references there are: for tests and debugging. 0 for NULL, the largest CFIndex for constants.
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
/// Whether two objects are of one type and hold the same. Two NULLs are equal, NULL equals nothing else.
///
/// Arrays and dictionaries are walked without recursion. Containers that are equal down to a depth of a
/// million levels, which only cyclic ones reach in practice, count as different.
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
/// A number that is equal for equal objects within this process. 0 for NULL.
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
/// A text for debugging, released by the caller; NULL for NULL. Containers nested more than 64 deep are
/// abbreviated.
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
/// The allocator `cf` was made with, borrowed; the default one for NULL.
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef cf);
/// Writes the description of `cf` and a line feed to the standard error stream.
CF_EXPORT void CFShow(CFTypeRef cf);

/// The type identifier of kCFNull.
CF_EXPORT CFTypeID CFNullGetTypeID(void);
/// The one object of the null type; stands for "no value" where a collection needs an object.
typedef const struct __CFNull* CFNullRef;
/// The null object, a constant.
CF_EXPORT const CFNullRef kCFNull;

CF_EXTERN_C_END

// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(bugprone-reserved-identifier, modernize-use-using, modernize-deprecated-headers)

#endif
