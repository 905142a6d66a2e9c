#pragma once

#include "JSON_rapidjson.h"

#include <rapidjson/stream.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace QV::SharedSupport::JSON {

/// A text as RapidJSON's reader takes it. The text ends at its first NUL, the string's own at the latest.
struct text_stream {
    using Ch = char;

    /// `run` is where to note the last of the runs of plain characters that strings are made of.
    text_stream(const std::string& text, std::string_view& run) noexcept
        : begin(text.c_str()), at(begin), end(begin + text.size()), last_run(&run) {}

    Ch Peek() const noexcept { return *at; }
    Ch Take() noexcept { return *at++; }
    std::size_t Tell() const noexcept { return static_cast<std::size_t>(at - begin); }
    // For reading in place, which is never asked for.
    static Ch* PutBegin() noexcept { return nullptr; }
    static void Put(Ch) noexcept {}
    static Ch* Push(std::size_t) noexcept { return nullptr; }
    static std::size_t PutEnd(Ch*) noexcept { return 0; }

    const char* begin;
    const char* at;
    const char* end; ///< Of the string: no character is looked at beyond it but the NUL there.
    std::string_view* last_run;
};

/// What the reader calls between tokens. Texts for people are mostly blanks.
inline void SkipWhitespace(text_stream& stream) noexcept {
    const char* at = stream.at;
    for (;;) {
        while (stream.end - at >= 8 && std::memcmp(at, "        ", 8) == 0)
            at += 8;
        if (*at != ' ' && *at != '\n' && *at != '\r' && *at != '\t') break;
        ++at;
    }
    stream.at = at;
}

} // namespace QV::SharedSupport::JSON

/// The reader works on a copy, which the compiler can keep in registers.
template <>
struct rapidjson::StreamTraits<QV::SharedSupport::JSON::text_stream> {
    enum { copyOptimization = 1 };
};
