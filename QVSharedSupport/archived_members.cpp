#include "archived_members.h"

#include "utf.h"

#include <QVSharedSupport/cf_conversions.h>

#include <fmt/format.h>

#include <new>
#include <stdexcept>

namespace QV::archived_members {

namespace {

const CF::String keys_key(CFSTR("NS.keys"));
const CF::String objects_key(CFSTR("NS.objects"));

bool is_set_class(const std::string& name) {
    return name == "NSSet" || name == "NSMutableSet" || name == "NSOrderedSet" ||
           name == "NSMutableOrderedSet";
}

} // namespace

CF::String string_of(std::string_view text) {
    CF::String string(text);
    if (string) return string;
    try {
        (void)utf::to_utf16(text, utf::mode::strict);
    } catch (const std::runtime_error&) {
        return string;
    }
    throw std::bad_alloc();
}

bool is_array_class(const std::string& class_name) {
    return CF::validate_name<CF::Array>(class_name) || is_set_class(class_name);
}

std::optional<CF::Array> elements(const CF::Dictionary& object, const std::string& class_name) {
    if (CF::Array references = object.get<CF::Array>(objects_key); references) return references;
    if (!is_set_class(class_name)) return std::nullopt;
    // Ordered sets have a key for each element, and none when they are empty.
    std::vector<CF::AutoPointer> references;
    for (;;) {
        CF::AutoPointer reference = object[string_of(fmt::format("NS.object.{}", references.size()))];
        if (!reference) return CF::Array::from(references);
        references.push_back(std::move(reference));
    }
}

std::optional<std::pair<CF::Array, CF::Array>> entries(const CF::Dictionary& object) {
    CF::Array keys = object.get<CF::Array>(keys_key);
    CF::Array values = object.get<CF::Array>(objects_key);
    if (!keys || !values || keys.size() != values.size()) return std::nullopt;
    return std::pair(std::move(keys), std::move(values));
}

} // namespace QV::archived_members
