#include <QVSharedSupport/JSON_access.h>

#include <stdexcept>
#include <string>

namespace QV::SharedSupport::JSON {

const JsonValue* find_member(const JsonValue& value, std::string_view name) {
    const auto* const members = boost::get<JsonObject>(&value);
    if (members == nullptr) return nullptr;
    const auto member = members->find(std::string(name));
    return member == members->end() ? nullptr : &member->second;
}

const JsonValue* find_element(const JsonValue& value, std::size_t index) noexcept {
    const auto* const elements = boost::get<JsonArray>(&value);
    return elements == nullptr || index >= elements->size() ? nullptr : &(*elements)[index];
}

void no_such_value() {
    throw std::out_of_range("No such JSON value");
}

} // namespace QV::SharedSupport::JSON
