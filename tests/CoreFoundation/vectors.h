// Runs the recorded answers in tests/data/vectors against the library.
#pragma once

#include "objects.h"

#include <functional>
#include <optional>
#include <rapidjson/document.h>
#include <string>
#include <vector>

namespace vectors {

using json = rapidjson::Value;

using objects::own;
using objects::owned;

/// What a case came to: nothing if the answer is the recorded one, else what differs.
using difference = std::optional<std::string>;

/// One recorded case.
struct test_case {
    std::string name;
    const json& input;
    const json& expect;
};

/// Runs every case of tests/data/vectors/`file` for which `is_ours` says so. What differs is a failure unless
/// the case is listed in tests/data/vector_exceptions.tsv; there, agreeing is one.
void run(const std::string& file, const std::function<difference(const test_case&)>& check,
         const std::function<bool(const test_case&)>& is_ours = nullptr);

/// The bytes of a text in hexadecimal, and back.
std::vector<UInt8> from_hex(const std::string& hex);
std::string to_hex(const UInt8* bytes, std::size_t size);

/// The text of a JSON string, or of {"utf16be": hex}, as UTF-16 units, without the library's help.
std::u16string units(const json& text);
/// Those units as a string object.
owned<CFStringRef> make_string(const std::u16string& units);
owned<CFStringRef> make_string(const json& text);
/// The units of a string object.
std::u16string units_of(CFStringRef string);
/// A text for messages: ASCII, and \u escapes for the rest.
std::string readable(const std::u16string& text);

/// Makes the value that a {"t": ...} object describes. Null if it says it is null.
owned<CFTypeRef> make_value(const json& described);

/// The number that a {"create_type", "v"} object describes.
owned<CFNumberRef> make_number(CFNumberType type, const std::string& text);

/// An encoding by its name in the vectors.
CFStringEncoding encoding(const json& name);

/// Compares two answers and words what differs.
template <typename T>
difference differs(const std::string& what, const T& got, const T& expected) {
    if (got == expected) return std::nullopt;
    if constexpr (std::is_same_v<T, std::string>)
        return what + ": got \"" + got + "\" instead of \"" + expected + "\"";
    else
        return what + ": got " + std::to_string(got) + " instead of " + std::to_string(expected);
}

} // namespace vectors
