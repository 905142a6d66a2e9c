// The recorded debugging texts and type names.
#include "vectors.h"

#include <gtest/gtest.h>
#include <map>

namespace {

using namespace vectors;

std::string text_of(CFStringRef string) {
    const std::u16string units = units_of(string);
    return readable(units);
}

// The recorded texts have "<addr>" where an address stood.
std::string without_addresses(std::string text) {
    std::size_t from = 0;
    for (std::size_t at = text.find("0x"); at != std::string::npos; at = text.find("0x", from)) {
        const std::size_t end = std::min(text.find_first_not_of("0123456789abcdef", at + 2), text.size());
        from = at + 2;
        // Bytes of data begin in the same way, and the number five stands for itself.
        const bool is_address =
            at == 0 || text[at - 1] == ' ' || text[at - 1] == '[' || text.compare(at - 5, 5, "info ") == 0;
        if (!is_address || text.compare(at < 8 ? 0 : at - 8, 8, "bytes = ") == 0) continue;
        text.replace(at, end - at, "<addr>");
    }
    return text;
}

owned<CFArrayRef> array_of_five() {
    const void* five = reinterpret_cast<const void*>(5);
    return own(CFArrayCreate(nullptr, &five, 1, nullptr));
}

owned<CFMutableDictionaryRef> dictionary() {
    auto made = own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                              &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(made.get(), CFSTR("k"), CFSTR("v"));
    return made;
}

// The objects that programs made instead of descriptions.
owned<CFTypeRef> programmed(const std::string& name) {
    if (name == "immutable-dict-copy")
        return own<CFTypeRef>(CFDictionaryCreateCopy(nullptr, dictionary().get()));
    if (name == "array-null-callbacks") return own<CFTypeRef>(array_of_five().release());
    if (name == "allocator") return own<CFTypeRef>(CFRetain(kCFAllocatorSystemDefault));
    if (name == "mutable-data") {
        CFMutableDataRef made = CFDataCreateMutable(nullptr, 0);
        CFDataAppendBytes(made, reinterpret_cast<const UInt8*>("abc"), 3);
        return own<CFTypeRef>(made);
    }
    if (name == "mutable-set") {
        CFMutableSetRef made = CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks);
        CFSetAddValue(made, CFSTR("x"));
        return own<CFTypeRef>(made);
    }
    return nullptr;
}

difference check_object(CFTypeRef object, const json& expect) {
    if (object == nullptr) return "not made";
    const auto description = own(CFCopyDescription(object));
    if (const auto other = differs("description", without_addresses(text_of(description.get())),
                                   readable(units(expect["CFCopyDescription"]))))
        return other;
    const auto formatted = own(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), object));
    return differs("%@", without_addresses(text_of(formatted.get())),
                   readable(units(expect["format_percent_at"])));
}

difference check_type_name(const test_case& one) {
    static const std::map<std::string, CFTypeID> known = {
        {"typeid-Allocator", CFAllocatorGetTypeID()},
        {"typeid-Array", CFArrayGetTypeID()},
        {"typeid-Boolean", CFBooleanGetTypeID()},
        {"typeid-Data", CFDataGetTypeID()},
        {"typeid-Error", CFErrorGetTypeID()},
        {"typeid-Number", CFNumberGetTypeID()},
        {"typeid-Set", CFSetGetTypeID()},
        {"typeid-String", CFStringGetTypeID()},
        {"typeid-URL", CFURLGetTypeID()},
        {"typeid-bad-0", 0},
        {"typeid-bad-1", 1},
    };
    CFTypeID identifier = known.contains(one.name) ? known.at(one.name) : 5000;
    if (one.name == "typeid-KeyedArchiverUID") {
        rapidjson::Document uid;
        uid.Parse(R"({"t":"uid","v":1})");
        identifier = CFGetTypeID(make_value(uid).get());
    }
    const auto name = own(CFCopyTypeIDDescription(identifier));
    if (one.name == "typeid-bad-5000") return name ? difference("a name for no type") : std::nullopt;
    if (!name) return "no such type";
    return differs<std::string>("name", text_of(name.get()), one.expect["name"].GetString());
}

difference check(const test_case& one) {
    if (one.name.starts_with("typeid-")) return check_type_name(one);
    if (one.name == "null-object") {
        const auto text = own(CFCopyDescription(nullptr));
        return text ? difference("a text for NULL") : std::nullopt;
    }
    if (one.name == "cyclic-array") {
        // Recorded as a crash: here it ends, somewhere.
        const auto cyclic = own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        CFArrayAppendValue(cyclic.get(), cyclic.get());
        const auto text = own(CFCopyDescription(cyclic.get()));
        CFArrayRemoveAllValues(cyclic.get());
        return text ? std::nullopt : difference("no text");
    }
    if (one.input.HasMember("t")) return check_object(make_value(one.input).get(), one.expect);
    return check_object(programmed(one.name).get(), one.expect);
}

TEST(DescriptionVectors, AnswersAsRecorded) {
    // What has been read from a list is described where lists are read.
    run("description.json", check, [](const test_case& one) { return !one.name.starts_with("parsed-"); });
}

} // namespace
