#include "JSON_recording.h"

#include <algorithm>
#include <utility>

namespace QV::SharedSupport::JSON {

void recording::add_block() {
    blocks_.push_back(std::make_unique_for_overwrite<event[]>(events_of_block));
    go_to_block(blocks_.size() - 1);
}

void recording::go_to_block(std::size_t number) {
    current_block_ = number;
    next_ = blocks_[number].get();
    end_ = next_ + events_of_block;
}

const char* recording::keep(const char* text, std::size_t size) {
    decoded_.push_back(std::make_unique_for_overwrite<char[]>(size));
    return std::copy_n(text, size, decoded_.back().get()) - size;
}

std::optional<JsonValue> recording::make_value() {
    go_to_block(0);
    std::optional<JsonValue> value;
    const auto root = [&]<class... T>(T&&... made) { return &value.emplace(std::forward<T>(made)...); };
    if (!put_next(root)) value.reset();
    return value;
}

// Makes the next value with `place`, which takes what to construct it of, nothing for an empty object, and
// gives the value back; null if there is one of that name.
template <class Place>
bool recording::put_next(const Place& place) {
    const event& found = next_event();
    switch (found.what()) {
    case kind::object: {
        JsonValue* const made = place();
        return made != nullptr && fill(boost::get<JsonObject>(*made), found.size());
    }
    case kind::array: {
        JsonValue* const made = place(JsonArray());
        return made != nullptr && fill(boost::get<JsonArray>(*made), found.size());
    }
    case kind::number:
        return place(found.number) != nullptr;
    case kind::string:
        return place(std::string(found.text, found.size())) != nullptr;
    case kind::truth:
        return place(found.truth) != nullptr;
    case kind::null:
        break;
    }
    return place(nullptr) != nullptr;
}

bool recording::fill(JsonObject& members, std::size_t count) {
    // An empty object needs no table, yet would be given one.
    if (count != 0) members.reserve(count);
    const event* name = nullptr;
    const auto place = [&]<class... T>(T&&... made) -> JsonValue* {
        const auto [member, is_new] =
            members.try_emplace(std::string(name->text, name->size()), std::forward<T>(made)...);
        return is_new ? &member->second : nullptr;
    };
    while (count-- != 0) {
        name = &next_event();
        if (!put_next(place)) return false;
    }
    return true;
}

bool recording::fill(JsonArray& elements, std::size_t count) {
    elements.reserve(count);
    const auto place = [&]<class... T>(T&&... made) {
        return &elements.emplace_back(std::forward<T>(made)...);
    };
    while (count-- != 0) {
        if (!put_next(place)) return false;
    }
    return true;
}

} // namespace QV::SharedSupport::JSON
