#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

// RapidJSON counts bytes, members and elements in 32 bits unless told otherwise, and cuts off what is more.
#define RAPIDJSON_NO_SIZETYPEDEFINE
namespace rapidjson {
using SizeType = std::size_t;
}

#include <rapidjson/encodings.h>

namespace QV::SharedSupport::JSON {

/// Memory for RapidJSON's buffers that throws std::bad_alloc where there is none: RapidJSON does not look for
/// null pointers.
struct throwing_allocator {
    static constexpr bool kNeedFree = true;
    static void* Malloc(std::size_t size) { return size == 0 ? nullptr : ::operator new(size); }
    static void* Realloc(void* old, std::size_t old_size, std::size_t size) {
        void* const block = Malloc(size);
        if (old_size != 0 && size != 0) std::memcpy(block, old, old_size < size ? old_size : size);
        Free(old);
        return block;
    }
    static void Free(void* block) noexcept { ::operator delete(block); }
};

/// The encoding of the texts that are read and written: bytes that are taken as they are. A type of its own,
/// so that RapidJSON hands them on by runs and not one by one.
struct text_encoding : rapidjson::UTF8<> {};

/// Whether a character stands for itself between quotes, and has no meaning to reader or writer there.
inline bool is_plain(char character) noexcept {
    return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '\\';
}

/// The first character in [at, end) that is not plain; `end` if there is none.
inline const char* skip_plain(const char* at, const char* end) noexcept {
    if constexpr (std::endian::native == std::endian::little) {
        constexpr std::uint64_t ones = 0x0101010101010101U;
        constexpr std::uint64_t tops = 0x80 * ones;
        for (; end - at >= 8; at += 8) {
            std::uint64_t block = 0;
            std::memcpy(&block, at, 8);
            // The top bit of the lowest byte that is zero, or below 0x20, is set; above it others may be too.
            const auto zeros = [](std::uint64_t bytes) { return (bytes - ones) & ~bytes; };
            const std::uint64_t found =
                (zeros(block ^ ones * '"') | zeros(block ^ ones * '\\') | ((block - ones * 0x20) & ~block)) &
                tops;
            if (found != 0) return at + std::countr_zero(found) / 8;
        }
    }
    while (at != end && is_plain(*at))
        ++at;
    return at;
}

} // namespace QV::SharedSupport::JSON

/// What RapidJSON calls at a character without a meaning of its own: takes those that follow along with it.
template <>
struct rapidjson::Transcoder<QV::SharedSupport::JSON::text_encoding, QV::SharedSupport::JSON::text_encoding> {
    /// Never asked for.
    template <class Input, class Output>
    static bool Validate(Input&, Output&) {
        return false;
    }
    /// Reading: from a text_stream, which knows its end and notes what was taken.
    template <class Input, class Output>
    static bool Transcode(Input& input, Output& output) {
        const char* const end = QV::SharedSupport::JSON::skip_plain(input.at, input.source->end);
        const std::string_view run(input.at, static_cast<std::size_t>(end - input.at));
        std::memcpy(output.Push(run.size()), run.data(), run.size());
        input.source->last_run = run;
        input.at = end;
        return true;
    }
    /// Writing: from a string, which ends with a NUL, into a buffer that has room for it.
    template <class Input, class Output>
    static bool TranscodeUnsafe(Input& input, Output& output) {
        const char* end = input.src_;
        while (QV::SharedSupport::JSON::is_plain(*end))
            ++end;
        const auto size = static_cast<std::size_t>(end - input.src_);
        std::memcpy(output.Push(size), input.src_, size);
        input.src_ = end;
        return true;
    }
};
