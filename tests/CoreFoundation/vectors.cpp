#include "vectors.h"

#include "../helpers/test_folders.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

namespace vectors {

namespace {

std::string read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

// The exceptions of one vectors file: case name to reason.
std::map<std::string, std::string> exceptions(const std::string& file) {
    std::istringstream table(read(test::own_data() / "vector_exceptions.tsv"));
    std::map<std::string, std::string> found;
    for (std::string line; std::getline(table, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        const std::size_t first = line.find('\t');
        const std::size_t second = line.find('\t', first + 1);
        if (first == std::string::npos || second == std::string::npos || second + 1 == line.size()) {
            ADD_FAILURE() << "not file, name and reason: " << line;
            continue;
        }
        if (line.substr(0, first) == file)
            found.emplace(line.substr(first + 1, second - first - 1), line.substr(second + 1));
    }
    return found;
}

} // namespace

void run(const std::string& file, const std::function<difference(const test_case&)>& check,
         const std::function<bool(const test_case&)>& is_ours) {
    rapidjson::Document document;
    document.Parse(read(test::own_data() / "vectors" / file).c_str());
    ASSERT_FALSE(document.HasParseError()) << file << " at " << document.GetErrorOffset();
    const auto excepted = exceptions(file);
    std::set<std::string> names;
    std::size_t ran = 0;
    for (const json& entry : document["cases"].GetArray()) {
        const test_case one{entry["name"].GetString(), entry["input"], entry["expect"]};
        names.insert(one.name);
        if (is_ours && !is_ours(one)) continue;
        ++ran;
        const difference found = check(one);
        const bool is_excepted = excepted.contains(one.name);
        if (found && !is_excepted) ADD_FAILURE() << file << ": " << one.name << ": " << *found;
        if (!found && is_excepted)
            ADD_FAILURE() << file << ": " << one.name << " agrees: no exception is needed";
    }
    for (const auto& [name, reason] : excepted)
        EXPECT_TRUE(names.contains(name)) << file << " has no case " << name;
    EXPECT_GT(ran, 0U) << file;
    std::cout << file << ": " << ran << " cases\n";
}

std::vector<UInt8> from_hex(const std::string& hex) {
    std::vector<UInt8> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<UInt8>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string to_hex(const UInt8* bytes, std::size_t size) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string hex;
    for (std::size_t i = 0; i < size; ++i) {
        hex += digits[bytes[i] >> 4U];
        hex += digits[bytes[i] & 0xFU];
    }
    return hex;
}

std::u16string units(const json& text) {
    std::u16string out;
    if (text.IsObject()) {
        const json& hex = text.HasMember("utf16be") ? text["utf16be"] : text["v"];
        if (!text.HasMember("utf16be")) return units(hex);
        const std::vector<UInt8> bytes = from_hex(hex.GetString());
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
            out.push_back(static_cast<char16_t>(bytes[i] << 8U | bytes[i + 1]));
        return out;
    }
    // RapidJSON has seen to it that this is well-formed UTF-8.
    const std::string utf8(text.GetString(), text.GetStringLength());
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i++]);
        const int more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        char32_t scalar = more == 0 ? lead : lead & (0x3FU >> static_cast<unsigned>(more));
        for (int k = 0; k < more; ++k)
            scalar = scalar << 6U | (static_cast<unsigned char>(utf8[i++]) & 0x3FU);
        if (scalar > 0xFFFF) {
            out.push_back(static_cast<char16_t>(0xD7C0U + (scalar >> 10U)));
            out.push_back(static_cast<char16_t>(0xDC00U + (scalar & 0x3FFU)));
        } else {
            out.push_back(static_cast<char16_t>(scalar));
        }
    }
    return out;
}

owned<CFStringRef> make_string(const std::u16string& units) {
    const std::vector<UniChar> copy(units.begin(), units.end());
    return own(CFStringCreateWithCharacters(nullptr, copy.data(), static_cast<CFIndex>(copy.size())));
}

owned<CFStringRef> make_string(const json& text) {
    return make_string(units(text));
}

std::u16string units_of(CFStringRef string) {
    std::u16string out;
    for (CFIndex i = 0; i < CFStringGetLength(string); ++i)
        out.push_back(CFStringGetCharacterAtIndex(string, i));
    return out;
}

std::string readable(const std::u16string& text) {
    std::string out;
    for (const char16_t unit : text) {
        if (unit >= 0x20 && unit < 0x7F) {
            out.push_back(static_cast<char>(unit));
            continue;
        }
        const std::array<UInt8, 2> bytes = {static_cast<UInt8>(unit >> 8U), static_cast<UInt8>(unit & 0xFFU)};
        out += "\\u" + to_hex(bytes.data(), 2);
    }
    return out;
}

namespace {

// A decimal integer of up to 128 bits, as the private type of numbers is passed.
struct wide_integer {
    std::int64_t high;
    std::uint64_t low;
};

wide_integer parse_wide(std::string text) {
    const bool is_negative = text.starts_with('-');
    if (is_negative) text.erase(0, 1);
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    for (const char c : text) {
        // Times ten plus the digit, in halves of 32 bits.
        std::uint64_t carry = static_cast<std::uint64_t>(c - '0');
        for (std::uint64_t* half : {&low, &high}) {
            const std::uint64_t lower = (*half & 0xFFFFFFFFU) * 10 + carry;
            const std::uint64_t upper = (*half >> 32U) * 10 + (lower >> 32U);
            *half = upper << 32U | (lower & 0xFFFFFFFFU);
            carry = upper >> 32U;
        }
    }
    if (is_negative) {
        low = ~low + 1;
        high = ~high + (low == 0 ? 1U : 0U);
    }
    return {static_cast<std::int64_t>(high), low};
}

template <typename T>
owned<CFNumberRef> create(CFNumberType type, T value) {
    return own(CFNumberCreate(nullptr, type, &value));
}

} // namespace

owned<CFNumberRef> make_number(CFNumberType type, const std::string& text) {
    // Recorded where long has eight bytes: there it is what long long is everywhere.
    if (type == kCFNumberLongType && sizeof(long) == 4) type = kCFNumberLongLongType;
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return create(type, static_cast<std::int8_t>(std::stoi(text)));
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return create(type, static_cast<std::int16_t>(std::stoi(text)));
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return create<std::int32_t>(type, std::stoi(text));
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
        return create(type, std::strtof(text.c_str(), nullptr));
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
        return create(type, std::strtod(text.c_str(), nullptr));
    case 17:
        return create(type, parse_wide(text));
    default:
        // Values from 2^63 up were passed in the same bits.
        return create(type,
                      text.starts_with('-') ? std::stoll(text) : static_cast<long long>(std::stoull(text)));
    }
}

CFStringEncoding encoding(const json& name) {
    static const std::map<std::string, CFStringEncoding> known = {
        {"UTF8", kCFStringEncodingUTF8},
        {"ASCII", kCFStringEncodingASCII},
        {"MacRoman", kCFStringEncodingMacRoman},
        {"ISOLatin1", kCFStringEncodingISOLatin1},
        {"WindowsLatin1", kCFStringEncodingWindowsLatin1},
        {"UTF16", kCFStringEncodingUTF16},
        {"UTF16BE", kCFStringEncodingUTF16BE},
        {"UTF16LE", kCFStringEncodingUTF16LE},
        {"UTF32", kCFStringEncodingUTF32},
        {"UTF32BE", kCFStringEncodingUTF32BE},
        {"UTF32LE", kCFStringEncodingUTF32LE},
        {"NonLossyASCII", kCFStringEncodingNonLossyASCII},
    };
    const std::string text = name.GetString();
    const auto found = known.find(text);
    if (found != known.end()) return found->second;
    return static_cast<CFStringEncoding>(std::stoul(text, nullptr, 16));
}

namespace {

owned<CFTypeRef> as_type(CFTypeRef object) {
    return own(object);
}

owned<CFTypeRef> make_collection(const json& described, bool is_set) {
    const owned<CFMutableArrayRef> values = own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const json& member : described["v"].GetArray())
        CFArrayAppendValue(values.get(), make_value(member).get());
    if (!is_set) return as_type(CFArrayCreateCopy(nullptr, values.get()));
    std::vector<const void*> list(static_cast<std::size_t>(CFArrayGetCount(values.get())));
    CFArrayGetValues(values.get(), CFRangeMake(0, CFArrayGetCount(values.get())), list.data());
    return as_type(
        CFSetCreate(nullptr, list.data(), static_cast<CFIndex>(list.size()), &kCFTypeSetCallBacks));
}

owned<CFTypeRef> make_dictionary(const json& described) {
    CFMutableDictionaryRef made = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                            &kCFTypeDictionaryValueCallBacks);
    for (const json& entry : described["v"].GetArray()) {
        const owned<CFStringRef> text = entry[0].IsString() ? make_string(entry[0]) : nullptr;
        const owned<CFTypeRef> other = entry[0].IsString() ? nullptr : make_value(entry[0]);
        const owned<CFTypeRef> value = make_value(entry[1]);
        CFDictionarySetValue(made, text ? static_cast<const void*>(text.get()) : other.get(), value.get());
    }
    return as_type(made);
}

// References of archives cannot be made but by reading a list that holds one.
owned<CFTypeRef> make_uid(const json& described) {
    const std::string text =
        "<dict><key>CF$UID</key><integer>" + std::to_string(described["v"].GetInt64()) + "</integer></dict>";
    const owned<CFDataRef> data = own(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                   static_cast<CFIndex>(text.size())));
    return as_type(
        CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
}

owned<CFTypeRef> make_error(const json& described) {
    const owned<CFTypeRef> info = described.HasMember("userInfo") && !described["userInfo"].IsNull()
                                      ? make_value(described["userInfo"])
                                      : nullptr;
    return as_type(CFErrorCreate(nullptr, make_string(described["domain"]).get(),
                                 described["code"].GetInt64(), static_cast<CFDictionaryRef>(info.get())));
}

} // namespace

owned<CFTypeRef> make_value(const json& described) {
    if (described.IsString()) return as_type(make_string(described).release());
    const std::string type = described["t"].GetString();
    if (type == "string") return as_type(make_string(described).release());
    if (type == "int" || type == "real")
        return as_type(make_number(described["nt"].GetInt64(), described["v"].GetString()).release());
    if (type == "bool") return as_type(CFRetain(described["v"].GetBool() ? kCFBooleanTrue : kCFBooleanFalse));
    if (type == "null") return as_type(CFRetain(kCFNull));
    if (type == "array") return make_collection(described, false);
    if (type == "set") return make_collection(described, true);
    if (type == "dict") return make_dictionary(described);
    if (type == "uid") return make_uid(described);
    if (type == "error") return make_error(described);
    if (type == "date")
        return as_type(CFDateCreate(nullptr, std::strtod(described["v"].GetString(), nullptr)));
    if (type == "url")
        return as_type(CFURLCreateWithString(nullptr, make_string(described["v"]).get(), nullptr));
    if (type == "uuid") return as_type(CFUUIDCreateFromString(nullptr, make_string(described["v"]).get()));
    if (type == "data") {
        const std::vector<UInt8> bytes = from_hex(described["hex"].GetString());
        return as_type(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
    }
    ADD_FAILURE() << "no value of type " << type << " is known";
    return nullptr;
}

} // namespace vectors
