// Property lists held to the recorded behaviour: which inputs are taken, what they mean, and every byte of
// what is written.
#include "plist_cases.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>

namespace {

using objects::own;
using plist_cases::object;
using plist_cases::owned;
using rapidjson::Value;
using std::string_view;

std::string expected_text(const Value& value) {
    return {value.GetString(), value.GetStringLength()};
}

// What the case describes only by its depth, of containers with one member each.
std::string canonical_by_depth(CFTypeRef value, int levels) {
    const int wanted = levels;
    for (; levels > 0; --levels) {
        if (CFGetTypeID(value) == CFArrayGetTypeID()) {
            value = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(value), 0);
        } else if (CFGetTypeID(value) == CFDictionaryGetTypeID()) {
            const auto* dictionary = static_cast<CFDictionaryRef>(value);
            const void* only = nullptr;
            if (CFDictionaryGetCount(dictionary) == 1)
                CFDictionaryGetKeysAndValues(dictionary, nullptr, &only);
            value = only;
        } else {
            return "not so deep";
        }
        if (value == nullptr) return "not so deep";
    }
    return std::to_string(wanted) + " levels around " + plist_cases::canonical(value);
}

std::string compare_value(CFTypeRef value, const Value& expected) {
    if (expected.IsObject() && expected.HasMember("summary") && !expected.HasMember("innermost")) return {};
    const std::string wanted = plist_cases::canonical(expected);
    const std::string got = expected.IsObject() && expected.HasMember("summary")
                                ? canonical_by_depth(value, expected["levels_above_innermost"].GetInt())
                                : plist_cases::canonical(value);
    return got == wanted ? "" : "got " + got + ", not " + wanted;
}

const Value* find_info(const Value& error, string_view key) {
    for (const Value& entry : error["userInfo"].GetArray()) {
        if (expected_text(entry[0]) == key) return &entry[1];
    }
    return nullptr;
}

// Domain, code, description and the presence of texts must be as expected; the wording of the texts need not.
std::string compare_error(CFErrorRef error, const Value& expected) {
    if (expected.IsNull()) return error == nullptr ? "" : "an error nobody expected";
    if (error == nullptr) return "no error";
    std::string description = expected_text(expected["description"]);
    // What the reference prints for want of its language files.
    constexpr string_view escape = "\\U2019";
    if (const auto at = description.find(escape); at != std::string::npos)
        description.replace(at, escape.size(), "\xE2\x80\x99");
    if (plist_cases::text_of(CFErrorGetDomain(error)) != expected_text(expected["domain"]))
        return "wrong domain";
    if (CFErrorGetCode(error) != expected["code"].GetInt()) return "wrong code";
    if (plist_cases::text_of(own(CFErrorCopyDescription(error)).get()) != description)
        return "wrong description";

    const auto info = own(CFErrorCopyUserInfo(error));
    const auto* debug = static_cast<CFStringRef>(
        CFDictionaryGetValue(info.get(), plist_cases::make_string("NSDebugDescription").get()));
    if (debug == nullptr || CFStringGetLength(debug) == 0) return "no debug description";
    const auto old_key = plist_cases::make_string("kCFPropertyListOldStyleParsingError");
    const void* old_error = CFDictionaryGetValue(info.get(), old_key.get());
    const Value* expected_old = find_info(expected, "kCFPropertyListOldStyleParsingError");
    if (expected_old == nullptr) return {};
    if (old_error == nullptr || CFGetTypeID(old_error) != CFErrorGetTypeID()) return "no old-style error";
    return compare_error(static_cast<CFErrorRef>(const_cast<void*>(old_error)), *expected_old);
}

const std::map<std::string, CFPropertyListFormat> formats = {{"openstep", kCFPropertyListOpenStepFormat},
                                                             {"xml", kCFPropertyListXMLFormat_v1_0},
                                                             {"binary", kCFPropertyListBinaryFormat_v1_0}};

std::string run_legacy_read(CFDataRef data, const Value& expected) {
    CFStringRef raw_message = nullptr;
    const object value(CFPropertyListCreateFromXMLData(nullptr, data, 0, &raw_message));
    const owned<CFStringRef> message(raw_message);
    if ((value != nullptr) != expected["ok"].GetBool()) return "wrong verdict";
    if (value == nullptr) {
        if (message == nullptr) return "no message";
        const std::string text = plist_cases::text_of(message.get());
        return text == expected_text(expected["errorString"]) ? "" : "message: " + text;
    }
    if (message != nullptr) return "a message without a failure";
    return compare_value(value.get(), expected["value"]);
}

std::string run_read(const Value& test_case) {
    const Value& input = test_case["input"];
    const Value& expected = test_case["expect"];
    const bool without_data = input.HasMember("program");
    const auto data = without_data ? nullptr : plist_cases::make_data(plist_cases::input_bytes(input));
    if (input.HasMember("function")) return run_legacy_read(data.get(), expected);
    const CFOptionFlags options = input.HasMember("options") ? input["options"].GetUint64() : 0;

    constexpr CFPropertyListFormat untouched = -7;
    CFPropertyListFormat format = untouched;
    CFErrorRef raw_error = nullptr;
    const object value(CFPropertyListCreateWithData(nullptr, data.get(), options, &format, &raw_error));
    const owned<CFErrorRef> error(raw_error);
    if (value == nullptr) {
        if (expected["ok"].GetBool()) {
            const auto why = own(CFCopyDescription(error.get()));
            return "refused: " + plist_cases::text_of(why.get());
        }
        if (format != untouched) return "the format was changed";
        return compare_error(error.get(), expected["error"]);
    }
    if (error != nullptr) return "an error without a failure";
    if (!expected["ok"].GetBool()) return "accepted: " + plist_cases::canonical(value.get());
    if (format != formats.at(expected_text(expected["format"]))) return "wrong format";
    return compare_value(value.get(), expected["value"]);
}

TEST(PlistVectors, ReadXml) {
    plist_cases::run_cases("xml_parse.json", run_read);
}

TEST(PlistVectors, ReadOldStyle) {
    plist_cases::run_cases("oldstyle.json", run_read);
}

TEST(PlistVectors, ReadBinary) {
    plist_cases::run_cases("binary.json", run_read,
                           [](string_view name) { return name.starts_with("parse-"); });
}

/// The values that a case describes in words: "shared-array-100-times".
class programs {
public:
    static object make(const std::string& name);

private:
    static object array_of(CFTypeRef member, int count);
    static object nested(CFTypeRef innermost, int levels);
    static int number_in(const std::string& name);
};

object programs::array_of(CFTypeRef member, int count) {
    auto array = own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (int i = 0; i < count; ++i)
        CFArrayAppendValue(array.get(), member);
    return object(array.release());
}

object programs::nested(CFTypeRef innermost, int levels) {
    object value(CFRetain(innermost));
    for (; levels > 0; --levels)
        value = array_of(value.get(), 1);
    return value;
}

int programs::number_in(const std::string& name) {
    return std::stoi(name.substr(name.find_first_of("0123456789")));
}

object programs::make(const std::string& name) {
    const auto string = plist_cases::make_string("x");
    if (name.starts_with("shared-empty-array-")) return array_of(array_of(nullptr, 0).get(), number_in(name));
    if (name.starts_with("shared-array-")) return array_of(array_of(string.get(), 1).get(), number_in(name));
    if (name.starts_with("write-depth-")) return nested(string.get(), number_in(name));
    if (name.starts_with("format-")) return object(CFRetain(string.get()));
    if (name == "write-same-array-pointer-twice")
        return array_of(array_of(plist_cases::make_string("q").get(), 1).get(), 2);
    if (name == "null-pointer") return {};
    if (name == "mutable-string") {
        auto text = own(CFStringCreateMutable(nullptr, 0));
        CFStringAppend(text.get(), plist_cases::make_string("m<").get());
        return object(text.release());
    }
    if (name == "dict-null-callbacks") {
        // Nothing retains these: they live as long as the process.
        static const auto b = plist_cases::make_string("b");
        static const auto a = plist_cases::make_string("a");
        static const auto v = plist_cases::make_string("v");
        static const auto w = plist_cases::make_string("w");
        const void* keys[] = {b.get(), a.get()};
        const void* values[] = {v.get(), w.get()};
        return object(CFDictionaryCreate(nullptr, keys, values, 2, nullptr, nullptr));
    }
    ADD_FAILURE() << name << " is not known";
    return {};
}

/// An array that holds itself, directly or inside a dictionary, until it is taken apart.
class cycle {
public:
    explicit cycle(bool through_dictionary)
        : array_(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks)) {
        if (through_dictionary) {
            const auto dictionary = own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                  &kCFTypeDictionaryValueCallBacks));
            CFDictionarySetValue(dictionary.get(), plist_cases::make_string("k").get(), array_.get());
            CFArrayAppendValue(array_.get(), dictionary.get());
        } else {
            CFArrayAppendValue(array_.get(), array_.get());
        }
    }
    cycle(const cycle&) = delete;
    cycle& operator=(const cycle&) = delete;
    ~cycle() { CFArrayRemoveAllValues(array_.get()); }
    CFTypeRef get() const { return array_.get(); }

private:
    owned<CFMutableArrayRef> array_;
};

std::string compare_bytes(CFDataRef data, const Value& expected) {
    const string_view bytes = plist_cases::bytes_of(data);
    const auto different = [&](const std::string& wanted) {
        return bytes == wanted
                   ? std::string()
                   : "wrote " + (bytes.starts_with('<') ? std::string(bytes) : plist_cases::to_hex(bytes));
    };
    if (expected.HasMember("xml")) return different(expected_text(expected["xml"]));
    if (expected.HasMember("xml_hex"))
        return different(plist_cases::from_hex(expected_text(expected["xml_hex"])));
    if (expected.HasMember("hex")) return different(plist_cases::from_hex(expected_text(expected["hex"])));
    if (expected.HasMember("xml_length"))
        return bytes.size() == static_cast<std::size_t>(expected["xml_length"].GetInt()) ? ""
                                                                                         : "wrong length";
    const std::string first = plist_cases::from_hex(expected_text(expected["hex_first_64"]));
    const std::string last = plist_cases::from_hex(expected_text(expected["hex_last_64"]));
    return bytes.starts_with(first) && bytes.ends_with(last) ? "" : "wrong bytes";
}

std::string write_and_compare(CFTypeRef value, CFPropertyListFormat format, const Value& expected) {
    CFErrorRef raw_error = nullptr;
    const owned<CFDataRef> data(CFPropertyListCreateData(nullptr, value, format, 0, &raw_error));
    const owned<CFErrorRef> error(raw_error);
    if (expected.HasMember("legacy_CreateXMLData_same")) {
        const owned<CFDataRef> legacy(CFPropertyListCreateXMLData(nullptr, value));
        const bool same =
            data == nullptr || legacy == nullptr ? data == legacy : CFEqual(data.get(), legacy.get()) != 0;
        if (!same) return "CFPropertyListCreateXMLData does not agree";
    }
    if (data != nullptr) {
        if (error != nullptr) return "an error without a failure";
        if (!expected["ok"].GetBool()) return "wrote " + std::string(plist_cases::bytes_of(data.get()));
        return compare_bytes(data.get(), expected);
    }
    if (expected["ok"].GetBool())
        return "not written: " + plist_cases::text_of(own(CFCopyDescription(error.get())).get());
    return compare_error(error.get(), expected["error"]);
}

std::string run_write(const Value& test_case, CFPropertyListFormat format) {
    const std::string name = expected_text(test_case["name"]);
    const Value& input = test_case["input"];
    const Value& expected = test_case["expect"];
    if (name.starts_with("format-")) format = std::stoi(name.substr(7));
    if (name.find("cyclic") != std::string::npos)
        return write_and_compare(cycle(name.ends_with("dict")).get(), format, expected);
    const object value = input.HasMember("program") ? programs::make(name) : plist_cases::make_object(input);
    return write_and_compare(value.get(), format, expected);
}

TEST(PlistVectors, WriteXml) {
    plist_cases::run_cases("xml_write.json", [](const Value& test_case) {
        return run_write(test_case, kCFPropertyListXMLFormat_v1_0);
    });
}

// Dictionaries of two or more entries are written in an order of our own: there the value read back is what
// counts.
std::string run_binary_write(const Value& test_case) {
    const Value& input = test_case["input"];
    const Value& expected = test_case["expect"];
    const bool ordered =
        !input.HasMember("t") || expected_text(input["t"]) != "dict" || input["v"].Size() < 2;
    if (std::string problem = run_write(test_case, kCFPropertyListBinaryFormat_v1_0);
        ordered && !problem.empty())
        return problem;
    if (!expected.HasMember("reparsed")) return {};
    const object value = plist_cases::make_object(input);
    const owned<CFDataRef> data(
        CFPropertyListCreateData(nullptr, value.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    const object again(CFPropertyListCreateWithData(nullptr, data.get(), 0, nullptr, nullptr));
    if (again == nullptr) return "not read back";
    if ((CFEqual(value.get(), again.get()) != 0) != expected["reparsed_equal"].GetBool())
        return "equality differs";
    return compare_value(again.get(), expected["reparsed"]);
}

TEST(PlistVectors, WriteBinary) {
    plist_cases::run_cases("binary.json", run_binary_write,
                           [](string_view name) { return name.starts_with("write-"); });
}

std::string run_deep_copy(const Value& test_case) {
    const Value& expected = test_case["expect"];
    const object value = plist_cases::make_object(test_case["input"]["value"]);
    const CFOptionFlags options = test_case["input"]["mutability"].GetUint64();
    const object copy(CFPropertyListCreateDeepCopy(nullptr, value.get(), options));
    if (expected.HasMember("null")) return copy == nullptr ? "" : "copied";
    if (copy == nullptr) return "not copied";
    if ((copy == value) != expected["same_pointer"].GetBool()) return "wrong identity";
    if ((CFEqual(copy.get(), value.get()) != 0) != expected["equal"].GetBool()) return "wrong equality";
    if (expected.HasMember("described_as")) {
        const std::string description = plist_cases::text_of(own(CFCopyDescription(copy.get())).get());
        if (description.find("type = " + expected_text(expected["described_as"])) == std::string::npos)
            return description;
    }
    return compare_value(copy.get(), expected["value"]);
}

TEST(PlistVectors, DeepCopy) {
    plist_cases::run_cases("misc.json", run_deep_copy, [](string_view name) {
        return name.starts_with("deepcopy-") && name != "deepcopy-mutability";
    });
}

std::string run_is_valid(const Value& test_case) {
    const Value& expected = test_case["expect"];
    if (!test_case["input"].HasMember("value")) {
        const cycle endless(false);
        const bool xml = CFPropertyListIsValid(endless.get(), kCFPropertyListXMLFormat_v1_0) != 0;
        const bool binary = CFPropertyListIsValid(endless.get(), kCFPropertyListBinaryFormat_v1_0) != 0;
        return xml == expected["xml"].GetBool() && binary == expected["binary"].GetBool() ? ""
                                                                                          : "wrong verdict";
    }
    const object value = plist_cases::make_object(test_case["input"]["value"]);
    for (const auto& [format, verdict] : expected.GetObject()) {
        const CFPropertyListFormat number = std::stoi(expected_text(format));
        if ((CFPropertyListIsValid(value.get(), number) != 0) != verdict.GetBool())
            return "wrong verdict on format " + expected_text(format);
    }
    return {};
}

TEST(PlistVectors, IsValid) {
    plist_cases::run_cases("misc.json", run_is_valid,
                           [](string_view name) { return name.starts_with("isvalid-"); });
}

} // namespace
