#include "archived_members.h"

#include <QVSharedSupport/cf_conversions.h>

#include <fmt/format.h>

namespace QV::archived_members {

namespace {

bool is_set_class(const std::string& name) {
    return name == "NSSet" || name == "NSMutableSet" || name == "NSOrderedSet" ||
           name == "NSMutableOrderedSet";
}

} // namespace

bool is_array_class(const std::string& class_name) {
    return CF::validate_name<CF::Array>(class_name) || is_set_class(class_name);
}

std::optional<CF::Array> elements(const CF::Dictionary& object, const std::string& class_name) {
    if (CF::Array references = object.get<CF::Array>("NS.objects"); references) return references;
    if (!is_set_class(class_name)) return std::nullopt;
    // Ordered sets have a key for each element, and none when they are empty.
    std::vector<CF::AutoPointer> references;
    for (;;) {
        CF::AutoPointer reference = object[fmt::format("NS.object.{}", references.size())];
        if (!reference) return CF::Array::from(references);
        references.push_back(std::move(reference));
    }
}

std::optional<std::pair<CF::Array, CF::Array>> entries(const CF::Dictionary& object) {
    CF::Array keys = object.get<CF::Array>("NS.keys");
    CF::Array values = object.get<CF::Array>("NS.objects");
    if (!keys || !values || keys.size() != values.size()) return std::nullopt;
    return std::pair(std::move(keys), std::move(values));
}

} // namespace QV::archived_members
