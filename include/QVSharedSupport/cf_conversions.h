/// Conversions between native values and CoreFoundation objects, found by type:
///
///     CF::Number number = QV::make_cf_type_t<int>{}(5);
///     int value = QV::from_cf_type_t<int>{}(number);
///
/// There is one converter for each type listed here and none for any other: asking for it does not compile.
///
/// Numbers are stored with the CoreFoundation type of the same width, the unsigned ones bit for bit in the
/// signed type, so that a value comes back unchanged through the converter of the same type. Reading as
/// another type converts as CFNumberGetValue does, losses included. Converters report nothing: an empty
/// wrapper gives zero, false or nothing, and where CoreFoundation makes no object the wrapper is empty.
///
/// Thread safety: the converters have no state. Nothing here blocks.
#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Array.h>
#include <CFAdapters/Boolean.h>
#include <CFAdapters/Data.h>
#include <CFAdapters/Date.h>
#include <CFAdapters/Dictionary.h>
#include <CFAdapters/Error.h>
#include <CFAdapters/Number.h>
#include <CFAdapters/String.h>
#include <CFAdapters/Type.h>

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace QV {

/// Makes a CoreFoundation object of a `T`; see the specialisations.
template <class T>
struct make_cf_type_t {
    static_assert(!sizeof(T*),
                  "QV::make_cf_type_t has no conversion from this type to a CoreFoundation object");
};

/// Reads a `T` out of a CoreFoundation object; see the specialisations.
template <class T>
struct from_cf_type_t {
    static_assert(!sizeof(T*),
                  "QV::from_cf_type_t has no conversion from a CoreFoundation object to this type");
};

/// A number of type kCFNumberCharType.
template <>
struct make_cf_type_t<signed char> {
    QV_EXPORT CF::Number operator()(signed char value) const;
};

/// A number of type kCFNumberCharType, bit for bit.
template <>
struct make_cf_type_t<unsigned char> {
    QV_EXPORT CF::Number operator()(unsigned char value) const;
};

/// A number of type kCFNumberShortType.
template <>
struct make_cf_type_t<short> {
    QV_EXPORT CF::Number operator()(short value) const;
};

/// A number of type kCFNumberShortType, bit for bit.
template <>
struct make_cf_type_t<unsigned short> {
    QV_EXPORT CF::Number operator()(unsigned short value) const;
};

/// A number of type kCFNumberIntType.
template <>
struct make_cf_type_t<int> {
    QV_EXPORT CF::Number operator()(int value) const;
};

/// A number of type kCFNumberIntType, bit for bit.
template <>
struct make_cf_type_t<unsigned int> {
    QV_EXPORT CF::Number operator()(unsigned int value) const;
};

/// A number of type kCFNumberLongLongType.
template <>
struct make_cf_type_t<long long> {
    QV_EXPORT CF::Number operator()(long long value) const;
};

/// A number of type kCFNumberLongLongType, bit for bit.
template <>
struct make_cf_type_t<unsigned long long> {
    QV_EXPORT CF::Number operator()(unsigned long long value) const;
};

/// A number of type kCFNumberDoubleType.
template <>
struct make_cf_type_t<double> {
    QV_EXPORT CF::Number operator()(double value) const;
};

/// kCFBooleanTrue or kCFBooleanFalse.
template <>
struct make_cf_type_t<bool> {
    QV_EXPORT CF::Boolean operator()(bool value) const;
};

/// A string of UTF-8, embedded NULs included; empty when it is not well formed. No text gives a string
/// without text.
template <>
struct make_cf_type_t<std::string> {
    QV_EXPORT CF::String operator()(std::string_view text) const;
};

/// The same as for std::string.
template <>
struct make_cf_type_t<std::string_view> {
    QV_EXPORT CF::String operator()(std::string_view text) const;
};

/// An immutable copy of the bytes.
template <>
struct make_cf_type_t<std::span<std::byte>> {
    QV_EXPORT CF::Data operator()(std::span<const std::byte> bytes) const;
};

/// An immutable copy of the bytes.
template <>
struct make_cf_type_t<std::vector<std::byte>> {
    QV_EXPORT CF::Data operator()(const std::vector<std::byte>& bytes) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::Array> {
    QV_EXPORT CF::Array operator()(CF::Array value) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::Boolean> {
    QV_EXPORT CF::Boolean operator()(CF::Boolean value) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::Data> {
    QV_EXPORT CF::Data operator()(CF::Data value) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::Date> {
    QV_EXPORT CF::Date operator()(CF::Date value) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::Dictionary> {
    QV_EXPORT CF::Dictionary operator()(CF::Dictionary value) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::Error> {
    QV_EXPORT CF::Error operator()(CF::Error value) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::Number> {
    QV_EXPORT CF::Number operator()(CF::Number value) const;
};

/// The wrapper itself.
template <>
struct make_cf_type_t<CF::String> {
    QV_EXPORT CF::String operator()(CF::String value) const;
};

/// The number read as kCFNumberCharType; 0 when empty.
template <>
struct from_cf_type_t<signed char> {
    QV_EXPORT signed char operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberCharType, bit for bit; 0 when empty.
template <>
struct from_cf_type_t<unsigned char> {
    QV_EXPORT unsigned char operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberShortType; 0 when empty.
template <>
struct from_cf_type_t<short> {
    QV_EXPORT short operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberShortType, bit for bit; 0 when empty.
template <>
struct from_cf_type_t<unsigned short> {
    QV_EXPORT unsigned short operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberIntType; 0 when empty.
template <>
struct from_cf_type_t<int> {
    QV_EXPORT int operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberIntType, bit for bit; 0 when empty.
template <>
struct from_cf_type_t<unsigned int> {
    QV_EXPORT unsigned int operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberLongLongType; 0 when empty.
template <>
struct from_cf_type_t<long long> {
    QV_EXPORT long long operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberLongLongType, bit for bit; 0 when empty.
template <>
struct from_cf_type_t<unsigned long long> {
    QV_EXPORT unsigned long long operator()(const CF::Number& number) const noexcept;
};

/// The number read as kCFNumberDoubleType; 0 when empty.
template <>
struct from_cf_type_t<double> {
    QV_EXPORT double operator()(const CF::Number& number) const noexcept;
};

/// The value; false when empty.
template <>
struct from_cf_type_t<bool> {
    QV_EXPORT bool operator()(const CF::Boolean& boolean) const noexcept;
};

/// The text in UTF-8 up to its first NUL; nothing when empty or not to be expressed in UTF-8.
/// CF::String::to_string gives the whole of it. @throws std::bad_alloc
template <>
struct from_cf_type_t<std::string> {
    QV_EXPORT std::string operator()(const CF::String& string) const;
};

/// The object's own bytes, borrowed until it changes or goes; a null pointer and no length when empty.
template <>
struct from_cf_type_t<std::span<const std::byte>> {
    QV_EXPORT std::span<const std::byte> operator()(const CF::Data& data) const;
};

/// A copy of the bytes; none when empty. @throws std::bad_alloc
template <>
struct from_cf_type_t<std::vector<std::byte>> {
    QV_EXPORT std::vector<std::byte> operator()(const CF::Data& data) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::Array> {
    QV_EXPORT CF::Array operator()(const CF::Array& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::Boolean> {
    QV_EXPORT CF::Boolean operator()(const CF::Boolean& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::Data> {
    QV_EXPORT CF::Data operator()(const CF::Data& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::Date> {
    QV_EXPORT CF::Date operator()(const CF::Date& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::Dictionary> {
    QV_EXPORT CF::Dictionary operator()(const CF::Dictionary& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::Error> {
    QV_EXPORT CF::Error operator()(const CF::Error& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::Number> {
    QV_EXPORT CF::Number operator()(const CF::Number& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::String> {
    QV_EXPORT CF::String operator()(const CF::String& value) const;
};

/// The same object, retained.
template <>
struct from_cf_type_t<CF::AutoPointer> {
    QV_EXPORT CF::AutoPointer operator()(const CF::AutoPointer& value) const;
};

/// A span of `seconds`, cut to whole nanoseconds.
///
/// NaN and what 64 bits of nanoseconds do not hold (above some 292 years) give the most negative duration.
/// @throws std::runtime_error "`Duration` cannot be negative: " and the number, for one below zero; -0.0 is
/// not.
QV_EXPORT std::chrono::nanoseconds make_duration(double seconds);
/// The same for a number object, read as a double; an empty one gives 0.
QV_EXPORT std::chrono::nanoseconds make_duration(const CF::Number& seconds);

} // namespace QV

namespace CF {

/// Whether a keyed archive's class of this name is read as a `T`: "NS", for each of the types below, and the
/// type's name, with or without "Mutable" between them. Case counts. For any other `T` this does not compile.
template <class T>
bool validate_name(const std::string& class_name) = delete;

/// "NSArray" and "NSMutableArray".
template <>
QV_EXPORT bool validate_name<Array>(const std::string& class_name);
/// "NSData" and "NSMutableData".
template <>
QV_EXPORT bool validate_name<Data>(const std::string& class_name);
/// "NSDictionary" and "NSMutableDictionary".
template <>
QV_EXPORT bool validate_name<Dictionary>(const std::string& class_name);
/// "NSNumber" and "NSMutableNumber".
template <>
QV_EXPORT bool validate_name<Number>(const std::string& class_name);
/// "NSString" and "NSMutableString".
template <>
QV_EXPORT bool validate_name<String>(const std::string& class_name);

} // namespace CF
