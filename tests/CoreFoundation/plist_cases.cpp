#include "plist_cases.h"

#include "../helpers/test_folders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

namespace plist_cases {

namespace {

using rapidjson::Value;
using std::string_view;

string_view text(const Value& value) {
    return {value.GetString(), value.GetStringLength()};
}

// Not every C runtime reads "inf" and hexadecimal reals alike.
double to_double(string_view decimal) {
    if (decimal == "nan") return std::nan("");
    if (decimal == "inf") return HUGE_VAL;
    if (decimal == "-inf") return -HUGE_VAL;
    double value = 0;
    std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
    return value;
}

// All not-a-numbers are one.
std::string canonical_double(double value) {
    if (std::isnan(value)) return "nan";
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
    return {digits, end};
}

/// The private type of 128-bit integers, and how its values lie in memory.
constexpr CFNumberType wide_type = 17;
struct wide_integer {
    std::int64_t high;
    std::uint64_t low;
};

wide_integer to_wide(string_view decimal) {
    const bool negative = decimal.starts_with('-');
    if (negative) decimal.remove_prefix(1);
    // Base 2^32, lowest first.
    std::array<std::uint64_t, 4> parts{};
    for (const char c : decimal) {
        std::uint64_t carry = static_cast<std::uint64_t>(c - '0');
        for (std::uint64_t& part : parts) {
            carry += part * 10;
            part = carry & 0xFFFFFFFF;
            carry >>= 32;
        }
    }
    std::uint64_t low = parts[1] << 32 | parts[0];
    std::uint64_t high = parts[3] << 32 | parts[2];
    if (negative) {
        low = 0 - low;
        high = ~high + (low == 0 ? 1 : 0);
    }
    return {static_cast<std::int64_t>(high), low};
}

std::string canonical_wide(wide_integer value) {
    return to_hex({reinterpret_cast<const char*>(&value), sizeof(value)});
}

wide_integer value_of(CFNumberRef number) {
    wide_integer value{};
    CFNumberGetValue(number, wide_type, &value);
    return value;
}

// Whether a number is held as a private 128-bit integer, which only its description tells.
bool is_wide(CFNumberRef number) {
    const object description(CFCopyDescription(number));
    return CFStringFind(static_cast<CFStringRef>(description.get()), CFSTR("kCFNumberSInt128Type"), 0)
               .length > 0;
}

object make_integer(const Value& notation) {
    const CFNumberType type = notation["nt"].GetInt64();
    const wide_integer value = to_wide(text(notation["v"]));
    if (type == wide_type || (notation.HasMember("wide") && notation["wide"].GetBool()))
        return object(CFNumberCreate(nullptr, wide_type, &value));
    const auto narrow = static_cast<std::int64_t>(value.low);
    const auto byte = static_cast<std::int8_t>(narrow);
    const auto half = static_cast<std::int16_t>(narrow);
    const auto word = static_cast<std::int32_t>(narrow);
    const auto native_long = static_cast<long>(narrow);
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return object(CFNumberCreate(nullptr, type, &byte));
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return object(CFNumberCreate(nullptr, type, &half));
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return object(CFNumberCreate(nullptr, type, &word));
    case kCFNumberLongType:
        return object(CFNumberCreate(nullptr, type, &native_long));
    default:
        return object(CFNumberCreate(nullptr, type, &narrow));
    }
}

object make_real(const Value& notation) {
    const CFNumberType type = notation["nt"].GetInt64();
    const double value = to_double(text(notation["v"]));
    const auto narrow = static_cast<float>(value);
    const bool is_narrow = type == kCFNumberFloat32Type || type == kCFNumberFloatType;
    return object(is_narrow ? CFNumberCreate(nullptr, type, &narrow) : CFNumberCreate(nullptr, type, &value));
}

// Readers of XML lists are the only public makers of these.
object make_uid(std::uint64_t value) {
    const auto list =
        make_data("<dict><key>CF$UID</key><integer>" + std::to_string(value) + "</integer></dict>");
    return object(CFPropertyListCreateWithData(nullptr, list.get(), 0, nullptr, nullptr));
}

object make_array(const Value& members) {
    const auto array = own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const Value& member : members.GetArray())
        CFArrayAppendValue(array.get(), make_object(member).get());
    return object(CFArrayCreateCopy(nullptr, array.get()));
}

object make_dictionary(const Value& entries) {
    auto dictionary = own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks));
    for (const Value& entry : entries.GetArray()) {
        const object key =
            entry[0].IsString() ? object(make_string(text(entry[0])).release()) : make_object(entry[0]);
        CFDictionarySetValue(dictionary.get(), key.get(), make_object(entry[1]).get());
    }
    return object(dictionary.release());
}

std::u16string units_of(CFStringRef string) {
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(string)), u'\0');
    CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)),
                          reinterpret_cast<UniChar*>(units.data()));
    return units;
}

std::string canonical_text(string_view utf8) {
    return "\"" + std::string(utf8) + "\"";
}

std::string joined(std::vector<std::string> parts, string_view open, string_view close, bool sorted) {
    if (sorted) std::sort(parts.begin(), parts.end());
    std::string all(open);
    for (const std::string& part : parts)
        all += part + ", ";
    return all + std::string(close);
}

std::string canonical_number(CFNumberRef number) {
    const std::string type = " of type " + std::to_string(CFNumberGetType(number));
    if (CFNumberIsFloatType(number)) {
        double value = 0;
        CFNumberGetValue(number, kCFNumberFloat64Type, &value);
        return "real " + canonical_double(value) + type;
    }
    const bool wide = is_wide(number);
    return (wide ? "wide int " : "int ") + canonical_wide(value_of(number)) + type;
}

std::string canonical_dictionary(CFDictionaryRef dictionary) {
    std::vector<const void*> keys(static_cast<std::size_t>(CFDictionaryGetCount(dictionary)));
    std::vector<const void*> values(keys.size());
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::vector<std::string> parts;
    for (std::size_t i = 0; i < keys.size(); ++i)
        parts.push_back(canonical(keys[i]) + " = " + canonical(values[i]));
    return joined(std::move(parts), "{", "}", true);
}

std::string canonical_uid(CFTypeRef uid) {
    const auto description = own(CFCopyDescription(uid));
    const std::string whole = text_of(description.get());
    const std::size_t at = whole.find("value = ");
    return "uid " + (at == std::string::npos ? whole : whole.substr(at + 8, whole.find('}', at) - at - 8));
}

std::string canonical_members(const Value& members, string_view open, string_view close, bool sorted) {
    std::vector<std::string> parts;
    for (const Value& member : members.GetArray())
        parts.push_back(canonical(member));
    return joined(std::move(parts), open, close, sorted);
}

struct exception {
    std::string name;
    std::string reason;
    bool seen = false;
};

// The lines of vector_exceptions.tsv that concern a file.
std::vector<exception> exceptions_of(string_view file) {
    std::vector<exception> found;
    std::istringstream lines(read_file(data_folder() / "vector_exceptions.tsv"));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::istringstream columns(line);
        std::string in_file;
        exception one;
        std::getline(columns, in_file, '\t');
        std::getline(columns, one.name, '\t');
        std::getline(columns, one.reason);
        if (in_file == file) found.push_back(one);
    }
    return found;
}

} // namespace

std::filesystem::path data_folder() {
    return test::own_data();
}

std::string read_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string from_hex(string_view hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        unsigned byte = 0;
        std::from_chars(hex.data() + i, hex.data() + i + 2, byte, 16);
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::string to_hex(string_view bytes) {
    constexpr string_view digits = "0123456789abcdef";
    std::string hex;
    for (const char c : bytes) {
        hex += digits[static_cast<unsigned char>(c) >> 4];
        hex += digits[static_cast<unsigned char>(c) & 15];
    }
    return hex;
}

owned<CFStringRef> make_string(string_view utf8) {
    // One byte order mark is dropped, and the text may begin with another.
    const std::string marked = "\xEF\xBB\xBF" + std::string(utf8);
    return owned<CFStringRef>(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(marked.data()),
                                                      static_cast<CFIndex>(marked.size()),
                                                      kCFStringEncodingUTF8, false));
}

std::string text_of(CFStringRef string) {
    std::string utf8;
    const std::u16string units = units_of(string);
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t scalar = units[i];
        const bool high = scalar >= 0xD800 && scalar < 0xDC00;
        if (high && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000) {
            scalar = 0x10000 + ((scalar & 0x3FF) << 10) + (units[++i] & 0x3FFU);
        } else if (scalar >= 0xD800 && scalar < 0xE000) {
            const char bytes[2] = {static_cast<char>(scalar >> 8), static_cast<char>(scalar & 0xFF)};
            utf8 += "\\u" + to_hex({bytes, 2});
            continue;
        }
        const int length = scalar < 0x80 ? 1 : scalar < 0x800 ? 2 : scalar < 0x10000 ? 3 : 4;
        if (length == 1) {
            utf8 += static_cast<char>(scalar);
            continue;
        }
        utf8 += static_cast<char>(0xF00 >> length | scalar >> 6 * (length - 1));
        for (int rest = length - 2; rest >= 0; --rest)
            utf8 += static_cast<char>(0x80 | (scalar >> 6 * rest & 0x3F));
    }
    return utf8;
}

owned<CFDataRef> make_data(string_view bytes) {
    return owned<CFDataRef>(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                         static_cast<CFIndex>(bytes.size())));
}

string_view bytes_of(CFDataRef data) {
    if (CFDataGetLength(data) == 0) return {};
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
            static_cast<std::size_t>(CFDataGetLength(data))};
}

object make_object(const Value& notation) {
    const string_view type = text(notation["t"]);
    if (type == "string") {
        if (notation.HasMember("v")) return object(make_string(text(notation["v"])).release());
        if (notation.HasMember("v_repeat")) {
            std::string repeated;
            for (int i = 0; i < notation["v_repeat"][1].GetInt(); ++i)
                repeated += text(notation["v_repeat"][0]);
            return object(make_string(repeated).release());
        }
        const std::string bytes = from_hex(text(notation["utf16be"]));
        return object(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                              static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF16BE,
                                              false));
    }
    if (type == "int") return make_integer(notation);
    if (type == "real") return make_real(notation);
    if (type == "bool") return object(notation["v"].GetBool() ? kCFBooleanTrue : kCFBooleanFalse);
    if (type == "data") return object(make_data(from_hex(text(notation["hex"]))).release());
    if (type == "date") return object(CFDateCreate(nullptr, to_double(text(notation["v"]))));
    if (type == "array") return make_array(notation["v"]);
    if (type == "dict") return make_dictionary(notation["v"]);
    if (type == "uid") return make_uid(notation["v"].GetUint64());
    if (type == "null") return object(kCFNull);
    if (type == "url") {
        const auto string = make_string(text(notation["v"]));
        return object(CFURLCreateWithString(nullptr, string.get(), nullptr));
    }
    if (type == "set") {
        const auto set = own(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
        for (const Value& member : notation["v"].GetArray())
            CFSetAddValue(set.get(), make_object(member).get());
        return object(CFSetCreateCopy(nullptr, set.get()));
    }
    if (type == "error") {
        const auto domain = make_string(text(notation["domain"]));
        return object(CFErrorCreate(nullptr, domain.get(), notation["code"].GetInt64(), nullptr));
    }
    ADD_FAILURE() << "no such type: " << type;
    return {};
}

std::string canonical(CFTypeRef value) {
    if (value == nullptr) return "NULL";
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) return canonical_text(text_of(static_cast<CFStringRef>(value)));
    if (type == CFNumberGetTypeID()) return canonical_number(static_cast<CFNumberRef>(value));
    if (type == CFBooleanGetTypeID()) return value == kCFBooleanTrue ? "true" : "false";
    if (type == CFDataGetTypeID()) return "<" + to_hex(bytes_of(static_cast<CFDataRef>(value))) + ">";
    if (type == CFDateGetTypeID())
        return "date " + canonical_double(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)));
    if (type == CFDictionaryGetTypeID()) return canonical_dictionary(static_cast<CFDictionaryRef>(value));
    if (type == CFNullGetTypeID()) return "null";
    std::vector<std::string> parts;
    if (type == CFArrayGetTypeID()) {
        const auto* array = static_cast<CFArrayRef>(value);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            parts.push_back(canonical(CFArrayGetValueAtIndex(array, i)));
        return joined(std::move(parts), "[", "]", false);
    }
    if (type == CFSetGetTypeID()) {
        const auto* set = static_cast<CFSetRef>(value);
        std::vector<const void*> members(static_cast<std::size_t>(CFSetGetCount(set)));
        CFSetGetValues(set, members.data());
        for (const void* member : members)
            parts.push_back(canonical(member));
        return joined(std::move(parts), "set(", ")", true);
    }
    if (type == CFURLGetTypeID()) return "url " + text_of(CFURLGetString(static_cast<CFURLRef>(value)));
    const auto name = own(CFCopyTypeIDDescription(type));
    if (text_of(name.get()) == "CFKeyedArchiverUID") return canonical_uid(value);
    return "some " + text_of(name.get());
}

std::string canonical(const Value& notation) {
    if (notation.IsNull()) return "NULL";
    if (notation.IsString()) return canonical_text(text(notation));
    if (!notation.HasMember("t")) {
        // Containers of one member each, too deep to be spelt out.
        const std::string innermost = canonical(notation["innermost"]);
        return std::to_string(notation["levels_above_innermost"].GetInt()) + " levels around " + innermost;
    }
    const string_view type = text(notation["t"]);
    if (type == "int") {
        const bool wide = notation.HasMember("wide") && notation["wide"].GetBool();
        return (wide ? "wide int " : "int ") + canonical_wide(to_wide(text(notation["v"]))) + " of type " +
               std::to_string(notation["nt"].GetInt());
    }
    if (type == "real")
        return "real " + canonical_double(to_double(text(notation["v"]))) + " of type " +
               std::to_string(notation["nt"].GetInt());
    if (type == "uid") return "uid " + std::to_string(notation["v"].GetUint64());
    if (type == "date") return "date " + canonical_double(to_double(text(notation["v"])));
    if (type == "array") return canonical_members(notation["v"], "[", "]", false);
    if (type == "set") return canonical_members(notation["v"], "set(", ")", true);
    if (type == "dict") {
        std::vector<std::string> parts;
        for (const Value& entry : notation["v"].GetArray())
            parts.push_back(canonical(entry[0]) + " = " + canonical(entry[1]));
        return joined(std::move(parts), "{", "}", true);
    }
    return canonical(make_object(notation).get());
}

std::string input_bytes(const Value& input) {
    return input.HasMember("hex") ? from_hex(text(input["hex"])) : std::string(text(input["text"]));
}

void run_cases(string_view file, const std::function<std::string(const Value&)>& run,
               const std::function<bool(string_view name)>& selected) {
    rapidjson::Document document;
    const std::string json = read_file(data_folder() / "vectors" / file);
    document.Parse<rapidjson::kParseFullPrecisionFlag>(json.data(), json.size());
    ASSERT_FALSE(document.HasParseError()) << file;
    std::vector<exception> exceptions = exceptions_of(file);
    int ran = 0;
    for (const Value& test_case : document["cases"].GetArray()) {
        const string_view name = text(test_case["name"]);
        const auto excepted = std::find_if(exceptions.begin(), exceptions.end(),
                                           [&](const exception& one) { return one.name == name; });
        if (excepted != exceptions.end()) excepted->seen = true;
        if (selected && !selected(name)) continue;
        ++ran;
        const std::string problem = run(test_case);
        if (excepted == exceptions.end()) {
            EXPECT_EQ(problem, "") << file << ": " << name;
        } else {
            EXPECT_NE(problem, "") << file << ": " << name << " no longer needs its exception";
        }
    }
    for (const exception& one : exceptions)
        EXPECT_TRUE(one.seen) << file << " has no case " << one.name << ", which is excepted";
    EXPECT_GT(ran, 0) << file;
    std::cout << file << ": " << ran << " cases\n";
}

} // namespace plist_cases
