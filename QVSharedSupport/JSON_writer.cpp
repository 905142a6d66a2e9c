#include <QVSharedSupport/JSON.h>

#include "JSON_rapidjson.h"
#include "exact_integer.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <ostream>

namespace QV::SharedSupport::JSON {

namespace {

using buffer = rapidjson::GenericStringBuffer<text_encoding, throwing_allocator>;
using compact_writer = rapidjson::Writer<buffer, text_encoding, text_encoding, throwing_allocator>;
using pretty_writer = rapidjson::PrettyWriter<buffer, text_encoding, text_encoding, throwing_allocator>;

template <class Writer>
void write(Writer& writer, const JsonValue& value);

template <class Writer>
struct write_alternative {
    using result_type = void;
    Writer& writer;

    void operator()(const JsonObject& members) const {
        writer.StartObject();
        for (const auto& [name, member] : members) {
            writer.Key(name.data(), name.size());
            write(writer, member);
        }
        writer.EndObject();
    }
    void operator()(const JsonArray& elements) const {
        writer.StartArray();
        for (const JsonValue& element : elements)
            write(writer, element);
        writer.EndArray();
    }
    void operator()(double number) const {
        // What the writer answers is not looked at: it refuses NaN and the infinities, which are to be left
        // out.
        if (const auto integer = exact_integer(number))
            writer.Int64(*integer);
        else
            writer.Double(number);
    }
    void operator()(const std::string& text) const { writer.String(text.data(), text.size()); }
    void operator()(bool truth) const { writer.Bool(truth); }
    void operator()(std::nullptr_t) const { writer.Null(); }
};

template <class Writer>
void write(Writer& writer, const JsonValue& value) {
    boost::apply_visitor(write_alternative<Writer>{writer}, value);
}

template <class Writer>
std::string text_of(const JsonValue& value) {
    buffer text;
    Writer writer(text);
    write(writer, value);
    // Control characters are escaped: the text has no NUL.
    return std::string(text.GetString(), text.GetSize());
}

} // namespace

std::string to_string(const JsonValue& value) {
    return text_of<compact_writer>(value);
}

std::string to_pretty_string(const JsonValue& value) {
    return text_of<pretty_writer>(value);
}

std::ostream& operator<<(std::ostream& stream, const JsonValue& value) {
    return stream << to_string(value);
}

} // namespace QV::SharedSupport::JSON
