#include <QVSharedSupport/JSON.h>

#include "JSON_recording.h"
#include "JSON_text_stream.h"

#include <rapidjson/reader.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <stack>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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

// The digits from `at` on.
std::size_t count_digits(const std::string& text, std::size_t at) {
    const std::size_t end = text.find_first_not_of("0123456789", at);
    return (end == std::string::npos ? text.size() : end) - at;
}

// Whether a negative exponent of ten digits or more stands at the minus sign at `at`. RapidJSON adds such an
// exponent to the number of places after the point, and their sum may overflow.
bool is_long_exponent(const std::string& text, std::size_t at) {
    return at != 0 && (text[at - 1] == 'e' || text[at - 1] == 'E') && count_digits(text, at + 1) >= 10;
}

bool may_have_long_exponent(const std::string& text) {
    for (std::size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at + 1))
        if (is_long_exponent(text, at)) return true;
    return false;
}

// The same text with those exponents cut to one that makes the number zero as well.
std::string with_short_exponents(const std::string& text) {
    std::string result;
    bool in_string = false;
    for (std::size_t at = 0; at != text.size(); ++at) {
        const char c = text[at];
        result += c;
        if (c == '\\' && in_string && at + 1 != text.size()) {
            result += text[++at];
        } else if (c == '"') {
            in_string = !in_string;
        } else if (c == '-' && !in_string && is_long_exponent(text, at)) {
            const std::size_t digits = count_digits(text, at + 1);
            const std::size_t first = std::min(text.find_first_not_of('0', at + 1), at + 1 + digits);
            const std::size_t significant = at + 1 + digits - first;
            result += significant == 0   ? "0"
                      : significant < 10 ? text.substr(first, significant)
                                         : "214748363";
            at += digits;
        }
    }
    return result;
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
    return may_have_long_exponent(text) ? parse_text(with_short_exponents(text)) : parse_text(text);
}

} // namespace QV::SharedSupport::JSON
