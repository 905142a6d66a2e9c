/// Ordered collections of values.
///
/// Values are treated as the call-backs say: with kCFTypeArrayCallBacks they are objects, retained and
/// compared by CFEqual; with NULL they are plain pointers, neither retained nor looked at. An index or range
/// outside the array is answered with NULL, zero or false, and changes nothing.
#ifndef COREFOUNDATION_CFARRAY_H
#define COREFOUNDATION_CFARRAY_H

#include <CoreFoundation/CFBase.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

/// Retains a value that enters an array.
typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
/// Releases a value that leaves an array.
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
/// Describes a value; the caller releases the string.
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
/// Compares two values.
typedef Boolean (*CFArrayEqualCallBack)(const void* value1, const void* value2);

/// How an array treats its values. A call-back that is NULL is not called; without `equal` pointers are
/// compared.
typedef struct {
    CFIndex version;                                ///< 0.
    CFArrayRetainCallBack retain;                   ///< Called on each value that enters.
    CFArrayReleaseCallBack release;                 ///< Called on each value that leaves.
    CFArrayCopyDescriptionCallBack copyDescription; ///< For debugging texts.
    CFArrayEqualCallBack equal;                     ///< For searches and CFEqual.
} CFArrayCallBacks;

/// For arrays of objects: CFRetain, CFRelease, CFCopyDescription and CFEqual.
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

/// Called by CFArrayApplyFunction on each value.
typedef void (*CFArrayApplierFunction)(const void* value, void* context);

typedef const struct __CFArray* CFArrayRef;  ///< An immutable or mutable array.
typedef struct __CFArray* CFMutableArrayRef; ///< A mutable array.

/// The type identifier of arrays.
CF_EXPORT CFTypeID CFArrayGetTypeID(void);
/// Makes an immutable array of `numValues` values. NULL for a negative count, a NULL object or want of
/// memory.
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                                   const CFArrayCallBacks* callBacks);
/// Makes an immutable copy with the same values and call-backs: always a new array.
CF_EXPORT CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef theArray);
/// Makes an empty mutable array. `capacity` is a hint, no limit; NULL when it is negative.
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* callBacks);
/// Makes a mutable copy with the same values and call-backs. `capacity` is a hint.
CF_EXPORT CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFArrayRef theArray);
/// How many values there are.
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef theArray);
/// How many values in `range` equal `value`.
CF_EXPORT CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value);
/// Whether a value in `range` equals `value`.
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value);
/// The value at `idx`, borrowed; NULL outside the array.
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);
/// Copies the values in `range`, borrowed, to `values`, which must have room for them.
CF_EXPORT void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values);
/// Calls `applier` on each value in `range`, in order. The array must not change meanwhile.
CF_EXPORT void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier,
                                    void* context);
/// The lowest index in `range` whose value equals `value`, or kCFNotFound.
CF_EXPORT CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value);
/// The highest index in `range` whose value equals `value`, or kCFNotFound.
CF_EXPORT CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value);
/// Searches the sorted values in `range`: an index of an equal value, else where it would be inserted.
CF_EXPORT CFIndex CFArrayBSearchValues(CFArrayRef theArray, CFRange range, const void* value,
                                       CFComparatorFunction comparator, void* context);
/// Adds a value at the end.
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value);
/// Inserts a value before index `idx`, which may be the count.
CF_EXPORT void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value);
/// Replaces the value at `idx`; at the count it appends.
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value);
/// Removes the value at `idx`.
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx);
/// Removes all values.
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef theArray);
/// Replaces the values in `range` by `newCount` others.
CF_EXPORT void CFArrayReplaceValues(CFMutableArrayRef theArray, CFRange range, const void** newValues,
                                    CFIndex newCount);
/// Exchanges two values.
CF_EXPORT void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1, CFIndex idx2);
/// Sorts the values in `range`; equal ones keep their order. The comparator must not change the array.
CF_EXPORT void CFArraySortValues(CFMutableArrayRef theArray, CFRange range, CFComparatorFunction comparator,
                                 void* context);
/// Appends the values of another array that lie in `otherRange`.
CF_EXPORT void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
