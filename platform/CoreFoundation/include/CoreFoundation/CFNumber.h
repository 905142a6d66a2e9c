/// Numbers of any of the C types, and booleans.
#ifndef COREFOUNDATION_CFNUMBER_H
#define COREFOUNDATION_CFNUMBER_H

#include <CoreFoundation/CFBase.h>

// NOLINTBEGIN(bugprone-reserved-identifier, modernize-use-using)

CF_EXTERN_C_BEGIN

typedef const struct __CFBoolean* CFBooleanRef; ///< kCFBooleanTrue or kCFBooleanFalse.
typedef const struct __CFNumber* CFNumberRef;   ///< A number, immutable.

CF_EXPORT const CFBooleanRef kCFBooleanTrue;  ///< True, a constant.
CF_EXPORT const CFBooleanRef kCFBooleanFalse; ///< False, a constant.

/// The type identifier of booleans.
CF_EXPORT CFTypeID CFBooleanGetTypeID(void);
/// The value; false for NULL.
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef boolean);

/// The types a number can be made from and read as.
typedef CFIndex CFNumberType;
enum {
    kCFNumberSInt8Type = 1,      ///< int8_t
    kCFNumberSInt16Type = 2,     ///< int16_t
    kCFNumberSInt32Type = 3,     ///< int32_t
    kCFNumberSInt64Type = 4,     ///< int64_t
    kCFNumberFloat32Type = 5,    ///< A 32-bit real.
    kCFNumberFloat64Type = 6,    ///< A 64-bit real.
    kCFNumberCharType = 7,       ///< char
    kCFNumberShortType = 8,      ///< short
    kCFNumberIntType = 9,        ///< int
    kCFNumberLongType = 10,      ///< long: four bytes on Windows.
    kCFNumberLongLongType = 11,  ///< long long
    kCFNumberFloatType = 12,     ///< float
    kCFNumberDoubleType = 13,    ///< double
    kCFNumberCFIndexType = 14,   ///< CFIndex
    kCFNumberNSIntegerType = 15, ///< An integer as wide as a pointer.
    kCFNumberCGFloatType = 16,   ///< A double.
    kCFNumberMaxType = 16        ///< The largest of these values.
};

CF_EXPORT const CFNumberRef kCFNumberPositiveInfinity; ///< Infinity, a constant.
CF_EXPORT const CFNumberRef kCFNumberNegativeInfinity; ///< Minus infinity, a constant.
CF_EXPORT const CFNumberRef kCFNumberNaN;              ///< Not a number, a constant.

/// The type identifier of numbers.
CF_EXPORT CFTypeID CFNumberGetTypeID(void);
/// Makes a number of the value of type `theType` at `valuePtr`. NULL for an unknown type or a NULL pointer.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void* valuePtr);
/// How the number is stored: one of the first six types.
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
/// How many bytes a value of the number's type (CFNumberGetType) has.
CF_EXPORT CFIndex CFNumberGetByteSize(CFNumberRef number);
/// Whether the stored value is a real.
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);
/// Stores the value as `theType` at `valuePtr` (which may be NULL) and says whether nothing was lost.
///
/// Something is always stored: an integer too wide is cut to the low bits, a real is cut towards zero and,
/// out of range, gives the nearest integer there is (NaN gives 0).
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);
/// Compares by value, whatever the types. NaN comes before all integers and before the reals that are not
/// negative, and after those that are; -0.0 comes before 0.
CF_EXPORT CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void* context);

CF_EXTERN_C_END

// NOLINTEND(bugprone-reserved-identifier, modernize-use-using)

#endif
