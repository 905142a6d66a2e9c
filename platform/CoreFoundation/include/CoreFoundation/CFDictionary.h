/// Collections of values found by their keys.
///
/// Keys and values are treated as the call-backs say: with the kCFType ones they are objects, retained and
/// compared by CFEqual; with NULL they are plain pointers. The order in which entries are listed means
/// nothing. A NULL key or value where objects are expected is refused: nothing changes.
#ifndef COREFOUNDATION_CFDICTIONARY_H
#define COREFOUNDATION_CFDICTIONARY_H

#include <CoreFoundation/CFBase.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

/// Retains a key or value that enters.
typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void* value);
/// Releases a key or value that leaves.
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void* value);
/// Describes a key or value; the caller releases the string.
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
/// Compares two keys or two values.
typedef Boolean (*CFDictionaryEqualCallBack)(const void* value1, const void* value2);
/// Hashes a key: equal keys must have equal hashes.
typedef CFHashCode (*CFDictionaryHashCallBack)(const void* value);

/// How a dictionary treats its keys. Without `equal` pointers are compared, without `hash` they are hashed.
typedef struct {
    CFIndex version;                                     ///< 0.
    CFDictionaryRetainCallBack retain;                   ///< Called on each key that enters.
    CFDictionaryReleaseCallBack release;                 ///< Called on each key that leaves.
    CFDictionaryCopyDescriptionCallBack copyDescription; ///< For debugging texts.
    CFDictionaryEqualCallBack equal;                     ///< For looking keys up.
    CFDictionaryHashCallBack hash;                       ///< For looking keys up.
} CFDictionaryKeyCallBacks;

/// How a dictionary treats its values.
typedef struct {
    CFIndex version;                                     ///< 0.
    CFDictionaryRetainCallBack retain;                   ///< Called on each value that enters.
    CFDictionaryReleaseCallBack release;                 ///< Called on each value that leaves.
    CFDictionaryCopyDescriptionCallBack copyDescription; ///< For debugging texts.
    CFDictionaryEqualCallBack equal;                     ///< For searches by value and CFEqual.
} CFDictionaryValueCallBacks;

/// For keys that are objects.
CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
/// For keys that are strings: a mutable one is copied as it enters, so that changing it later does no harm.
CF_EXPORT const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;
/// For values that are objects.
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

/// Called by CFDictionaryApplyFunction on each entry.
typedef void (*CFDictionaryApplierFunction)(const void* key, const void* value, void* context);

typedef const struct __CFDictionary* CFDictionaryRef;  ///< An immutable or mutable dictionary.
typedef struct __CFDictionary* CFMutableDictionaryRef; ///< A mutable dictionary.

/// The type identifier of dictionaries.
CF_EXPORT CFTypeID CFDictionaryGetTypeID(void);
/// Makes an immutable dictionary; of equal keys the first one's entry stays. NULL for a negative count, a
/// NULL object or want of memory.
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                             CFIndex numValues, const CFDictionaryKeyCallBacks* keyCallBacks,
                                             const CFDictionaryValueCallBacks* valueCallBacks);
/// Makes an immutable copy with the same entries and call-backs: always a new dictionary.
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict);
/// Makes an empty mutable dictionary. `capacity` is a hint, no limit; NULL when it is negative.
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                           const CFDictionaryKeyCallBacks* keyCallBacks,
                                                           const CFDictionaryValueCallBacks* valueCallBacks);
/// Makes a mutable copy with the same entries and call-backs. `capacity` is a hint.
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                               CFDictionaryRef theDict);
/// How many entries there are.
CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);
/// 1 if there is an entry for `key`, else 0.
CF_EXPORT CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key);
/// How many entries have a value equal to `value`; looks at all of them.
CF_EXPORT CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value);
/// Whether there is an entry for `key`.
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key);
/// Whether an entry has a value equal to `value`; looks at all of them.
CF_EXPORT Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value);
/// The value for `key`, borrowed; NULL without an entry.
CF_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key);
/// Whether there is an entry for `key`; if so its value, borrowed, is stored in `*value` unless that is NULL.
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value);
/// Copies all keys and values, borrowed, in one order. Either array may be NULL; each must have room for the
/// count.
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values);
/// Calls `applier` on each entry. The dictionary must not change meanwhile.
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier,
                                         void* context);
/// Adds an entry unless there is one for the key.
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
/// Adds an entry, or replaces both key and value of the one there is.
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
/// Replaces the value of an entry if there is one for the key.
CF_EXPORT void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
/// Removes an entry if there is one for the key.
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key);
/// Removes all entries.
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
