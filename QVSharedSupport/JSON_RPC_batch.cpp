#include <QVSharedSupport/JSON_RPC_batch.h>

#include <stdexcept>
#include <type_traits>

namespace QV::SharedSupport::JSON_RPC {

namespace {

// `Any` is a variant with the three messages among its alternatives.
template <class Any>
Any read_message(const JsonValue& value) {
    const auto* const object = boost::get<JsonObject>(&value);
    if (object == nullptr) throw std::runtime_error("Messages MUST be objects");
    const bool is_answer = object->contains("result") || object->contains("error");
    if (is_answer && !object->contains("method")) return Response(*object);
    if (object->contains("id")) return Request(*object);
    return Notification(*object);
}

Batch::Member read_member(const JsonValue& value) {
    try {
        return read_message<Batch::Member>(value);
    } catch (const std::runtime_error& error) {
        return InvalidMessage{value, error.what()};
    }
}

} // namespace

Batch::Batch(const JsonArray& array) {
    if (array.empty()) throw std::runtime_error("Batches MUST NOT be empty");
    members.reserve(array.size());
    for (const JsonValue& element : array)
        members.push_back(read_member(element));
}

Batch::operator JsonArray() const {
    JsonArray array;
    array.reserve(members.size());
    for (const Member& member : members) {
        array.push_back(std::visit(
            [](const auto& message) {
                if constexpr (std::is_same_v<decltype(message), const InvalidMessage&>)
                    return message.value;
                else
                    return JsonValue(JsonObject(message));
            },
            member));
    }
    return array;
}

Message make_message(const JsonValue& value) {
    if (const auto* const array = boost::get<JsonArray>(&value)) return Batch(*array);
    return read_message<Message>(value);
}

Message parse_message(const std::string& text) {
    return make_message(JSON::parse(text));
}

} // namespace QV::SharedSupport::JSON_RPC
