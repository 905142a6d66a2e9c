/// Collections of distinct values. Values are treated as the call-backs say, as in a dictionary.
#ifndef COREFOUNDATION_CFSET_H
#define COREFOUNDATION_CFSET_H

#include <CoreFoundation/CFBase.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

/// Retains a value that enters a set.
typedef const void* (*CFSetRetainCallBack)(CFAllocatorRef allocator, const void* value);
/// Releases a value that leaves a set.
typedef void (*CFSetReleaseCallBack)(CFAllocatorRef allocator, const void* value);
/// Describes a value; the caller releases the string.
typedef CFStringRef (*CFSetCopyDescriptionCallBack)(const void* value);
/// Compares two values.
typedef Boolean (*CFSetEqualCallBack)(const void* value1, const void* value2);
/// Hashes a value: equal values must have equal hashes.
typedef CFHashCode (*CFSetHashCallBack)(const void* value);

/// How a set treats its values. Without `equal` pointers are compared, without `hash` they are hashed.
typedef struct {
    CFIndex version;                              ///< 0.
    CFSetRetainCallBack retain;                   ///< Called on each value that enters.
    CFSetReleaseCallBack release;                 ///< Called on each value that leaves.
    CFSetCopyDescriptionCallBack copyDescription; ///< For debugging texts.
    CFSetEqualCallBack equal;                     ///< For looking values up.
    CFSetHashCallBack hash;                       ///< For looking values up.
} CFSetCallBacks;

/// For sets of objects.
CF_EXPORT const CFSetCallBacks kCFTypeSetCallBacks;
/// For sets of strings: a mutable one is copied as it enters.
CF_EXPORT const CFSetCallBacks kCFCopyStringSetCallBacks;

/// Called by CFSetApplyFunction on each value.
typedef void (*CFSetApplierFunction)(const void* value, void* context);

typedef const struct __CFSet* CFSetRef;  ///< An immutable or mutable set.
typedef struct __CFSet* CFMutableSetRef; ///< A mutable set.

/// The type identifier of sets.
CF_EXPORT CFTypeID CFSetGetTypeID(void);
/// Makes an immutable set; of equal values the first stays. NULL for a negative count, a NULL object or want
/// of memory.
CF_EXPORT CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                               const CFSetCallBacks* callBacks);
/// Makes an immutable copy with the same values and call-backs: always a new set.
CF_EXPORT CFSetRef CFSetCreateCopy(CFAllocatorRef allocator, CFSetRef theSet);
/// Makes an empty mutable set. `capacity` is a hint, no limit; NULL when it is negative.
CF_EXPORT CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                             const CFSetCallBacks* callBacks);
/// Makes a mutable copy with the same values and call-backs. `capacity` is a hint.
CF_EXPORT CFMutableSetRef CFSetCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef theSet);
/// How many values there are.
CF_EXPORT CFIndex CFSetGetCount(CFSetRef theSet);
/// 1 if an equal value is in the set, else 0.
CF_EXPORT CFIndex CFSetGetCountOfValue(CFSetRef theSet, const void* value);
/// Whether an equal value is in the set.
CF_EXPORT Boolean CFSetContainsValue(CFSetRef theSet, const void* value);
/// The set's own value that equals `value`, borrowed; NULL if there is none.
CF_EXPORT const void* CFSetGetValue(CFSetRef theSet, const void* value);
/// Whether an equal value is in the set; if so it is stored, borrowed, in `*value` unless that is NULL.
CF_EXPORT Boolean CFSetGetValueIfPresent(CFSetRef theSet, const void* candidate, const void** value);
/// Copies all values, borrowed, to `values`, which must have room for the count.
CF_EXPORT void CFSetGetValues(CFSetRef theSet, const void** values);
/// Calls `applier` on each value. The set must not change meanwhile.
CF_EXPORT void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context);
/// Adds a value unless an equal one is there.
CF_EXPORT void CFSetAddValue(CFMutableSetRef theSet, const void* value);
/// Replaces the equal value if there is one.
CF_EXPORT void CFSetReplaceValue(CFMutableSetRef theSet, const void* value);
/// Adds a value, or replaces the equal one.
CF_EXPORT void CFSetSetValue(CFMutableSetRef theSet, const void* value);
/// Removes the equal value if there is one.
CF_EXPORT void CFSetRemoveValue(CFMutableSetRef theSet, const void* value);
/// Removes all values.
CF_EXPORT void CFSetRemoveAllValues(CFMutableSetRef theSet);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
