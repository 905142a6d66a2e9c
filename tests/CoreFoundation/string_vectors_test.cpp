// What every recorded string function answered.
#include "vectors.h"

#include <array>
#include <charconv>
#include <gtest/gtest.h>

namespace {

using namespace vectors;

std::string hex_number(CFStringEncoding value) {
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return "0x" + std::string(digits.data(), end);
}

difference check_created(CFStringRef made, const json& expect) {
    const json& string = expect["string"];
    if (string.IsNull() != (made == nullptr)) return made == nullptr ? "not created" : "created";
    if (made == nullptr) return std::nullopt;
    if (const auto found =
            differs<std::string>("text", readable(units_of(made)), readable(units(string["value"]))))
        return found;
    if (const auto found = differs<long long>("length", CFStringGetLength(made), string["length"].GetInt64()))
        return found;
    if (const auto found =
            differs<std::string>("smallest encoding", hex_number(CFStringGetSmallestEncoding(made)),
                                 string["smallest_encoding"].GetString()))
        return found;
    return differs<std::string>("fastest encoding", hex_number(CFStringGetFastestEncoding(made)),
                                string["fastest_encoding"].GetString());
}

difference check_create(const test_case& one) {
    const std::string function = one.input["function"].GetString();
    if (!one.input.HasMember("hex")) {
        const bool bytes = function.starts_with("CFStringCreateWithBytes");
        const auto made =
            own(bytes ? CFStringCreateWithBytes(nullptr, nullptr, 0, kCFStringEncodingUTF8, false)
                      : CFStringCreateWithCharacters(nullptr, nullptr, 0));
        return check_created(made.get(), one.expect);
    }
    const std::vector<UInt8> bytes = from_hex(one.input["hex"].GetString());
    const CFStringEncoding named = encoding(one.input["encoding"]);
    if (function == "CFStringCreateWithCString") {
        const auto made =
            own(CFStringCreateWithCString(nullptr, reinterpret_cast<const char*>(bytes.data()), named));
        return check_created(made.get(), one.expect);
    }
    const bool external =
        one.input.HasMember("isExternalRepresentation") && one.input["isExternalRepresentation"].GetBool();
    const auto made = own(
        CFStringCreateWithBytes(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()), named, external));
    return check_created(made.get(), one.expect);
}

difference check_range(CFRange found, const json& location, const json& length) {
    if (const auto other = differs<long long>("location", found.location, location.GetInt64())) return other;
    return differs<long long>("length", found.length, length.GetInt64());
}

difference check_find(const test_case& one) {
    const auto haystack = make_string(one.input["haystack"]);
    const auto needle = make_string(one.input["needle"]);
    const auto options = static_cast<CFStringCompareFlags>(one.input["options"].GetInt64());
    if (!one.input.HasMember("range"))
        return check_range(CFStringFind(haystack.get(), needle.get(), options), one.expect["location"],
                           one.expect["length"]);
    CFRange found = CFRangeMake(-7, -7);
    const json& range = one.input["range"];
    const bool returned =
        CFStringFindWithOptions(haystack.get(), needle.get(),
                                CFRangeMake(range[0].GetInt64(), range[1].GetInt64()), options, &found) != 0;
    if (const auto other = differs<bool>("returned", returned, one.expect["returned"].GetBool()))
        return other;
    return check_range(found, one.expect["location"], one.expect["length"]);
}

difference check_compare(const test_case& one) {
    const auto a = make_string(one.input["a"]);
    const auto b = make_string(one.input["b"]);
    const auto options = static_cast<CFStringCompareFlags>(one.input["options"].GetInt64());
    if (const auto other = differs<long long>("result", CFStringCompare(a.get(), b.get(), options),
                                              one.expect["result"].GetInt64()))
        return other;
    if (const auto other = differs<long long>("reverse", CFStringCompare(b.get(), a.get(), options),
                                              one.expect["reverse"].GetInt64()))
        return other;
    return differs<bool>("CFEqual", CFEqual(a.get(), b.get()) != 0, one.expect["CFEqual"].GetBool());
}

std::u16string input_text(const json& input) {
    if (!input.HasMember("text_utf16be")) return units(input["text"]);
    std::u16string text;
    const std::vector<UInt8> bytes = from_hex(input["text_utf16be"].GetString());
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        text.push_back(static_cast<char16_t>(bytes[i] << 8U | bytes[i + 1]));
    return text;
}

difference check_get_c_string(const test_case& one) {
    const auto string = make_string(input_text(one.input));
    const auto size = static_cast<std::size_t>(one.input["bufferSize"].GetInt64());
    std::vector<UInt8> buffer(size + 2, 0xAA);
    const bool returned =
        CFStringGetCString(string.get(), reinterpret_cast<char*>(buffer.data()), static_cast<CFIndex>(size),
                           encoding(one.input["encoding"])) != 0;
    if (const auto other = differs<bool>("returned", returned, one.expect["returned"].GetBool()))
        return other;
    std::string expected = one.expect["buffer_hex"].GetString();
    std::string got = to_hex(buffer.data(), buffer.size());
    if (!returned && size > 1) {
        // What lies behind the NUL of a failure is nobody's business, but for the bytes behind the buffer.
        got = got.substr(0, 2) + got.substr(size * 2);
        expected = expected.substr(0, 2) + expected.substr(size * 2);
    }
    return differs("buffer", got, expected);
}

difference check_c_string_pointer(const test_case& one) {
    if (!one.input.HasMember("text"))
        return differs<bool>("pointer", CFStringGetCStringPtr(nullptr, kCFStringEncodingUTF8) != nullptr,
                             one.expect["non_null"].GetBool());
    const auto from_units = make_string(one.input["text"]);
    const json& text = one.input["text"];
    const auto from_bytes =
        own(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.GetString()),
                                    text.GetStringLength(), kCFStringEncodingUTF8, false));
    const CFStringEncoding named = encoding(one.input["encoding"]);
    const char* pointer = CFStringGetCStringPtr(from_bytes.get(), named);
    if (const auto other =
            differs<bool>("from UTF-8", pointer != nullptr, one.expect["from_utf8_bytes_non_null"].GetBool()))
        return other;
    if (const auto other =
            differs<bool>("from UTF-16", CFStringGetCStringPtr(from_units.get(), named) != nullptr,
                          one.expect["from_utf16_chars_non_null"].GetBool()))
        return other;
    if (one.expect["content_hex"].IsString()) {
        const std::string content = to_hex(reinterpret_cast<const UInt8*>(pointer),
                                           static_cast<std::size_t>(CFStringGetLength(from_bytes.get())) + 1);
        if (const auto other =
                differs<std::string>("content", content, one.expect["content_hex"].GetString()))
            return other;
    }
    return differs<bool>("characters", CFStringGetCharactersPtr(from_bytes.get()) != nullptr,
                         one.expect["characters_ptr_non_null"].GetBool());
}

difference check_limited_bytes(const test_case& one) {
    const std::string function = one.input["function"].GetString();
    const std::size_t size = std::stoul(function.substr(function.find("buffer of ") + 10));
    const auto string = make_string(u"a\u00e9\u4e2d");
    std::vector<UInt8> buffer(size + 1, 0xAA);
    CFIndex used = 0;
    const CFIndex converted = CFStringGetBytes(string.get(), CFRangeMake(0, 3), kCFStringEncodingUTF8, 0,
                                               false, buffer.data(), static_cast<CFIndex>(size), &used);
    if (buffer.back() != 0xAA) return "wrote behind the buffer";
    if (const auto other = differs<long long>("converted", converted, one.expect["converted"].GetInt64()))
        return other;
    return differs<long long>("used", used, one.expect["used"].GetInt64());
}

difference check_get_bytes(const test_case& one) {
    if (!one.input.HasMember("encoding")) return check_limited_bytes(one);
    const auto string = make_string(input_text(one.input));
    const CFRange all = CFRangeMake(0, CFStringGetLength(string.get()));
    const auto loss = static_cast<UInt8>(one.input["lossByte"].GetInt());
    const bool external = one.input["isExternalRepresentation"].GetBool();
    const CFStringEncoding named = encoding(one.input["encoding"]);
    CFIndex needed = 0;
    const CFIndex measured = CFStringGetBytes(string.get(), all, named, loss, external, nullptr, 0, &needed);
    if (const auto other =
            differs<long long>("measured", measured, one.expect["null_buffer_converted"].GetInt64()))
        return other;
    if (const auto other = differs<long long>("needed", needed, one.expect["null_buffer_used"].GetInt64()))
        return other;
    std::vector<UInt8> buffer(256);
    CFIndex used = 0;
    const CFIndex converted =
        CFStringGetBytes(string.get(), all, named, loss, external, buffer.data(), 256, &used);
    if (const auto other = differs<long long>("converted", converted, one.expect["converted"].GetInt64()))
        return other;
    if (const auto other = differs<long long>("used", used, one.expect["used"].GetInt64())) return other;
    return differs<std::string>("bytes", to_hex(buffer.data(), static_cast<std::size_t>(used)),
                                one.expect["hex"].GetString());
}

difference check_external(const test_case& one) {
    const CFDataRef made = CFStringCreateExternalRepresentation(nullptr, make_string(one.input["text"]).get(),
                                                                encoding(one.input["encoding"]), 0);
    const json& expected = one.expect["hex"];
    if (expected.IsNull() != (made == nullptr)) return made == nullptr ? "not made" : "made";
    if (made == nullptr) return std::nullopt;
    const auto data = own(made);
    return differs<std::string>(
        "bytes", to_hex(CFDataGetBytePtr(data.get()), static_cast<std::size_t>(CFDataGetLength(data.get()))),
        expected.GetString());
}

difference check_values(const test_case& one) {
    const auto text = make_string(one.input["text"]);
    if (const auto other =
            differs<long long>("int", CFStringGetIntValue(text.get()), one.expect["int"].GetInt64()))
        return other;
    return differs("double", CFStringGetDoubleValue(text.get()), std::stod(one.expect["double"].GetString()));
}

difference check(const test_case& one) {
    const std::string function = one.input["function"].GetString();
    if (function.starts_with("CFStringCreateWith")) return check_create(one);
    if (function.starts_with("CFStringFind")) return check_find(one);
    if (function == "CFStringCompare") return check_compare(one);
    if (function == "CFStringGetCString") return check_get_c_string(one);
    if (function.starts_with("CFStringGetCStringPtr")) return check_c_string_pointer(one);
    if (function.starts_with("CFStringGetBytes")) return check_get_bytes(one);
    if (function.starts_with("CFStringCreateExternalRepresentation")) return check_external(one);
    if (function.starts_with("CFStringGetIntValue")) return check_values(one);
    if (function == "CFStringGetMaximumSizeForEncoding")
        return differs<long long>("size",
                                  CFStringGetMaximumSizeForEncoding(one.input["length"].GetInt64(),
                                                                    encoding(one.input["encoding"])),
                                  one.expect["size"].GetInt64());
    if (function == "CFStringGetSystemEncoding")
        return differs<std::string>("encoding", hex_number(CFStringGetSystemEncoding()),
                                    one.expect["encoding"].GetString());
    const auto a = make_string(one.input["a"]);
    const auto b = make_string(one.input["b"]);
    if (function == "CFStringHasPrefix")
        return differs<bool>("returned", CFStringHasPrefix(a.get(), b.get()) != 0,
                             one.expect["returned"].GetBool());
    if (function == "CFStringHasSuffix")
        return differs<bool>("returned", CFStringHasSuffix(a.get(), b.get()) != 0,
                             one.expect["returned"].GetBool());
    if (function == "CFEqual/CFHash") {
        const bool equal = CFEqual(a.get(), b.get()) != 0;
        if (equal && CFHash(a.get()) != CFHash(b.get())) return "equal texts with different hashes";
        return differs<bool>("equal", equal, one.expect["equal"].GetBool());
    }
    return "no such function is known: " + function;
}

TEST(StringVectors, AnswersAsRecorded) {
    run("string.json", check);
}

} // namespace
