#include <QVSharedSupport/JSON.h>

#include "JSON_recording.h"
#include "JSON_short_numbers.h"
#include "JSON_text_stream.h"

#include <rapidjson/reader.h>

#include <cstddef>
#include <stack>
#include <stdexcept>
#include <string>
#include <utility>

namespace QV::SharedSupport::JSON {

namespace {

using reader = rapidjson::GenericReader<text_encoding, text_encoding, throwing_allocator>;

/// Builds a value event by event, each going straight into the container that is open. That is what gives
/// names that occur twice their meaning: the value that is already there takes the events of the later one.
class direct_builder : public value_events<direct_builder> {
public:
    template <class T>
    bool add(T&& value) {
        append(JsonValue(std::forward<T>(value)));
        return true;
    }
    bool String(const char* text, std::size_t size, bool) { return add(std::string(text, size)); }
    bool Key(const char* name, std::size_t size, bool) {
        name_.assign(name, size);
        return true;
    }
    bool StartObject() { return open(JsonObject()); }
    bool StartArray() { return open(JsonArray()); }
    bool EndObject(std::size_t) { return close(); }
    bool EndArray(std::size_t) { return close(); }

    JsonValue take() { return std::move(root_); }

private:
    // Where the value stands; for a name that is there already, the value of before.
    JsonValue* append(JsonValue value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return &root_;
        }
        JsonValue& container = *open_.top();
        if (auto* members = boost::get<JsonObject>(&container))
            return &members->emplace(name_, std::move(value)).first->second;
        if (auto* elements = boost::get<JsonArray>(&container)) {
            elements->push_back(std::move(value));
            return &elements->back();
        }
        throw std::invalid_argument("Can only append to objects and arrays");
    }
    bool open(JsonValue container) {
        if (open_.size() == max_depth) return false;
        open_.push(append(std::move(container)));
        return true;
    }
    bool close() {
        open_.pop();
        return true;
    }

    JsonValue root_;
    std::stack<JsonValue*> open_;
    std::string name_;
};

// Whether the text is one value. Its end is its first NUL: the reader never learns the length.
template <class Builder>
bool read(text_source& source, Builder& builder) {
    text_stream stream(source);
    return !reader().Parse(stream, builder).IsError();
}

JsonValue parse_text(const std::string& text) {
    text_source source(text);
    {
        recording events(source);
        if (read(source, events)) {
            if (auto value = events.make_value()) return *std::move(value);
        }
    }
    // A name that occurs twice, or an error: which of the two comes first decides what is thrown.
    direct_builder builder;
    if (!read(source, builder)) throw std::invalid_argument("Invalid JSON");
    return builder.take();
}

} // namespace

JsonValue parse(const std::string& text) {
    return may_have_long_numbers(text) ? parse_text(with_short_numbers(text)) : parse_text(text);
}

} // namespace QV::SharedSupport::JSON
