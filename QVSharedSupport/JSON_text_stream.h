#pragma once

#include "JSON_rapidjson.h"

#include <rapidjson/stream.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace QV::SharedSupport::JSON {

/// What stays the same while a text is read, and what is noted of it.
struct text_source {
    explicit text_source(const std::string& text) noexcept : begin(text.c_str()), end(begin + text.size()) {}

    const char* begin;
    const char* end;           ///< Of the string: no character is looked at beyond it but the NUL there.
    std::string_view last_run; ///< The last of the runs of plain characters that strings are made of.
};

/// A text as RapidJSON's reader takes it. The text ends at its first NUL, the string's own at the latest.
struct text_stream {
    using Ch = char;

    explicit text_stream(text_source& text) noexcept : at(text.begin), source(&text) {}

    Ch Peek() const noexcept { return *at; }
    Ch Take() noexcept { return *at++; }
    std::size_t Tell() const noexcept { return static_cast<std::size_t>(at - source->begin); }
    // For reading in place, which is never asked for.
    static Ch* PutBegin() noexcept { return nullptr; }
    static void Put(Ch) noexcept {}
    static Ch* Push(std::size_t) noexcept { return nullptr; }
    static std::size_t PutEnd(Ch*) noexcept { return 0; }

    const char* at;
    text_source* source;
};

/// What the reader calls between tokens. Texts for people are mostly blanks.
inline void SkipWhitespace(text_stream& stream) noexcept {
    const char* at = stream.at;
    const char* const end = stream.source->end;
    for (;;) {
        while (end - at >= 8 && std::memcmp(at, "        ", 8) == 0)
            at += 8;
        if (*at != ' ' && *at != '\n' && *at != '\r' && *at != '\t') break;
        ++at;
    }
    stream.at = at;
}

} // namespace QV::SharedSupport::JSON
