#pragma once

#include "JSON_text_stream.h"
#include "JSON_value_events.h"

#include <QVSharedSupport/JSON.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QV::SharedSupport::JSON {

/// Notes the reader's events, and makes the value of them when the whole text has been read. Then every array
/// and object is made in its place and in its final size, and nothing is moved.
///
/// The text must outlive it: most strings stay there until they are needed.
class recording : public value_events<recording> {
public:
    /// Of a text in which the reader notes its runs.
    explicit recording(text_source& source) : source_(source) {}

    bool add(double number) {
        next_free(kind::number).number = number;
        return true;
    }
    bool add(bool truth) {
        next_free(kind::truth).truth = truth;
        return true;
    }
    bool add(std::nullptr_t) {
        next_free(kind::null);
        return true;
    }
    bool String(const char* text, std::size_t size, bool) {
        // What is as long as its last run has no other part: it stands in the text as it is.
        const std::string_view run = std::exchange(source_.last_run, {});
        event& added = next_free(kind::string);
        added.text = run.size() == size ? run.data() : keep(text, size);
        added.set_size(size);
        return true;
    }
    // Its place tells a name from a string.
    bool Key(const char* name, std::size_t size, bool) { return String(name, size, true); }
    bool StartObject() { return open(kind::object); }
    bool StartArray() { return open(kind::array); }
    bool EndObject(std::size_t count) { return close(count); }
    bool EndArray(std::size_t count) { return close(count); }

    /// The value, after the whole text has been read. Nothing if a name occurs twice in an object: what that
    /// means depends on the order of events.
    std::optional<JsonValue> make_value();

private:
    enum class kind : std::size_t { object, array, number, string, truth, null };
    struct event {
        union {
            double number;
            const char* text; ///< Of a string or name.
            bool truth;
        };
        std::size_t kind_and_size;

        kind what() const { return static_cast<kind>(kind_and_size % size_unit); }
        /// Of a string or name in characters, of a container in members.
        std::size_t size() const { return kind_and_size / size_unit; }
        void set_size(std::size_t size) { kind_and_size += size * size_unit; }
    };
    static constexpr std::size_t size_unit = 8;
    /// So many that the memory for them is worth a call, and no such block that the system is asked for it.
    static constexpr std::size_t events_of_block = 1000;
    using block = std::unique_ptr<event[]>;

    event& next_free(kind what) {
        if (next_ == end_) add_block();
        event& added = *next_++;
        added.kind_and_size = static_cast<std::size_t>(what);
        return added;
    }
    bool open(kind container) {
        if (open_.size() == max_depth) return false;
        open_.push_back(&next_free(container));
        return true;
    }
    bool close(std::size_t count) {
        open_.back()->set_size(count);
        open_.pop_back();
        return true;
    }
    const char* keep(const char* text, std::size_t size);
    void add_block();
    void go_to_block(std::size_t number);

    const event& next_event() {
        if (next_ == end_) go_to_block(current_block_ + 1);
        return *next_++;
    }
    bool fill(JsonObject& members, std::size_t count);
    bool fill(JsonArray& elements, std::size_t count);
    template <class Place>
    bool put_next(const Place& place);

    text_source& source_;
    std::vector<block> blocks_;
    std::size_t current_block_ = 0;
    event* next_ = nullptr; ///< In the block that is being written or read.
    event* end_ = nullptr;
    std::vector<event*> open_;                     ///< The containers that are open.
    std::vector<std::unique_ptr<char[]>> decoded_; ///< Strings that had escapes.
};

} // namespace QV::SharedSupport::JSON
