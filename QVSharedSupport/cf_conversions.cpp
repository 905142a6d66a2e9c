#include <QVSharedSupport/cf_conversions.h>

#include <fmt/format.h>

#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace QV {

namespace {

template <class T>
CF::Number make_number(CFNumberType type, T value) {
    return CF::Number::adopt(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

// Whether the conversion lost something is not asked: the converted value is the result.
template <class T>
T read_number(CFNumberType type, const CF::Number& number) noexcept {
    T value{};
    if (number) CFNumberGetValue(number.get(), type, &value);
    return value;
}

} // namespace

CF::Number make_cf_type_t<signed char>::operator()(signed char value) const {
    return CF::Number(value);
}
CF::Number make_cf_type_t<unsigned char>::operator()(unsigned char value) const {
    return make_number(kCFNumberCharType, value);
}
CF::Number make_cf_type_t<short>::operator()(short value) const {
    return CF::Number(value);
}
CF::Number make_cf_type_t<unsigned short>::operator()(unsigned short value) const {
    return make_number(kCFNumberShortType, value);
}
CF::Number make_cf_type_t<int>::operator()(int value) const {
    return CF::Number(value);
}
CF::Number make_cf_type_t<unsigned int>::operator()(unsigned int value) const {
    return make_number(kCFNumberIntType, value);
}
CF::Number make_cf_type_t<long long>::operator()(long long value) const {
    return CF::Number(value);
}
CF::Number make_cf_type_t<unsigned long long>::operator()(unsigned long long value) const {
    return make_number(kCFNumberLongLongType, value);
}
CF::Number make_cf_type_t<double>::operator()(double value) const {
    return CF::Number(value);
}

CF::Boolean make_cf_type_t<bool>::operator()(bool value) const {
    return CF::Boolean(value);
}

CF::String make_cf_type_t<std::string>::operator()(std::string_view text) const {
    return CF::String(text);
}
CF::String make_cf_type_t<std::string_view>::operator()(std::string_view text) const {
    return CF::String(text);
}

CF::Data make_cf_type_t<std::span<std::byte>>::operator()(std::span<const std::byte> bytes) const {
    return CF::Data(bytes);
}
CF::Data make_cf_type_t<std::vector<std::byte>>::operator()(const std::vector<std::byte>& bytes) const {
    return CF::Data(bytes);
}

CF::Array make_cf_type_t<CF::Array>::operator()(CF::Array value) const {
    return value;
}
CF::Boolean make_cf_type_t<CF::Boolean>::operator()(CF::Boolean value) const {
    return value;
}
CF::Data make_cf_type_t<CF::Data>::operator()(CF::Data value) const {
    return value;
}
CF::Date make_cf_type_t<CF::Date>::operator()(CF::Date value) const {
    return value;
}
CF::Dictionary make_cf_type_t<CF::Dictionary>::operator()(CF::Dictionary value) const {
    return value;
}
CF::Error make_cf_type_t<CF::Error>::operator()(CF::Error value) const {
    return value;
}
CF::Number make_cf_type_t<CF::Number>::operator()(CF::Number value) const {
    return value;
}
CF::String make_cf_type_t<CF::String>::operator()(CF::String value) const {
    return value;
}

signed char from_cf_type_t<signed char>::operator()(const CF::Number& number) const noexcept {
    return number.value<signed char>();
}
unsigned char from_cf_type_t<unsigned char>::operator()(const CF::Number& number) const noexcept {
    return read_number<unsigned char>(kCFNumberCharType, number);
}
short from_cf_type_t<short>::operator()(const CF::Number& number) const noexcept {
    return number.value<short>();
}
unsigned short from_cf_type_t<unsigned short>::operator()(const CF::Number& number) const noexcept {
    return read_number<unsigned short>(kCFNumberShortType, number);
}
int from_cf_type_t<int>::operator()(const CF::Number& number) const noexcept {
    return number.value<int>();
}
unsigned int from_cf_type_t<unsigned int>::operator()(const CF::Number& number) const noexcept {
    return read_number<unsigned int>(kCFNumberIntType, number);
}
long long from_cf_type_t<long long>::operator()(const CF::Number& number) const noexcept {
    return number.value<long long>();
}
unsigned long long from_cf_type_t<unsigned long long>::operator()(const CF::Number& number) const noexcept {
    return read_number<unsigned long long>(kCFNumberLongLongType, number);
}
double from_cf_type_t<double>::operator()(const CF::Number& number) const noexcept {
    return number.value<double>();
}

bool from_cf_type_t<bool>::operator()(const CF::Boolean& boolean) const noexcept {
    return boolean.value();
}

std::string from_cf_type_t<std::string>::operator()(const CF::String& string) const {
    if (!string) return {};
    if (const char* text = CFStringGetCStringPtr(string.get(), kCFStringEncodingUTF8)) return text;
    const CFIndex size =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string.get()), kCFStringEncodingUTF8);
    // A string too long to measure has no room to be written to.
    if (size == kCFNotFound) return {};
    std::string buffer(static_cast<std::size_t>(size) + 1, '\0');
    CFStringGetCString(string.get(), buffer.data(), size + 1, kCFStringEncodingUTF8);
    buffer.resize(std::strlen(buffer.c_str()));
    return buffer;
}

std::span<const std::byte>
from_cf_type_t<std::span<const std::byte>>::operator()(const CF::Data& data) const {
    return data.bytes();
}
std::vector<std::byte> from_cf_type_t<std::vector<std::byte>>::operator()(const CF::Data& data) const {
    return data.to_vector();
}

CF::Array from_cf_type_t<CF::Array>::operator()(const CF::Array& value) const {
    return value;
}
CF::Boolean from_cf_type_t<CF::Boolean>::operator()(const CF::Boolean& value) const {
    return value;
}
CF::Data from_cf_type_t<CF::Data>::operator()(const CF::Data& value) const {
    return value;
}
CF::Date from_cf_type_t<CF::Date>::operator()(const CF::Date& value) const {
    return value;
}
CF::Dictionary from_cf_type_t<CF::Dictionary>::operator()(const CF::Dictionary& value) const {
    return value;
}
CF::Error from_cf_type_t<CF::Error>::operator()(const CF::Error& value) const {
    return value;
}
CF::Number from_cf_type_t<CF::Number>::operator()(const CF::Number& value) const {
    return value;
}
CF::String from_cf_type_t<CF::String>::operator()(const CF::String& value) const {
    return value;
}
CF::AutoPointer from_cf_type_t<CF::AutoPointer>::operator()(const CF::AutoPointer& value) const {
    return value;
}

std::chrono::nanoseconds make_duration(double seconds) {
    if (0.0 > seconds) throw std::runtime_error(fmt::format("`Duration` cannot be negative: {}", seconds));
    using count = std::chrono::nanoseconds::rep;
    const double nanoseconds = seconds * 1e9;
    // Asked so that NaN is out of range too: converting it, or 2^63 and more, would be undefined.
    constexpr double limit = -static_cast<double>(std::numeric_limits<count>::min());
    if (!(nanoseconds < limit)) return std::chrono::nanoseconds::min();
    return std::chrono::nanoseconds(static_cast<count>(nanoseconds));
}

std::chrono::nanoseconds make_duration(const CF::Number& seconds) {
    return make_duration(seconds.value<double>());
}

} // namespace QV

namespace CF {

template <>
bool validate_name<Array>(const std::string& class_name) {
    return class_name == "NSArray" || class_name == "NSMutableArray";
}

template <>
bool validate_name<Data>(const std::string& class_name) {
    return class_name == "NSData" || class_name == "NSMutableData";
}

template <>
bool validate_name<Dictionary>(const std::string& class_name) {
    return class_name == "NSDictionary" || class_name == "NSMutableDictionary";
}

template <>
bool validate_name<Number>(const std::string& class_name) {
    return class_name == "NSNumber" || class_name == "NSMutableNumber";
}

template <>
bool validate_name<String>(const std::string& class_name) {
    return class_name == "NSString" || class_name == "NSMutableString";
}

} // namespace CF
