#include "plist_base64.h"

#include <array>
#include <cstring>

namespace cf::plist {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t pad = 64;
constexpr std::uint8_t skipped = 65;
constexpr std::uint8_t refused = 66;

constexpr std::array<std::uint8_t, 256> values = [] {
    std::array<std::uint8_t, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = i < 0x80 ? skipped : refused;
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    table['='] = pad;
    return table;
}();

// Both characters of twelve bits.
constexpr std::array<std::array<char, 2>, 4096> pairs = [] {
    std::array<std::array<char, 2>, 4096> table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = {alphabet[i >> 6], alphabet[i & 63]};
    return table;
}();

std::uint8_t value_of(char c) {
    return values[static_cast<unsigned char>(c)];
}

} // namespace

bool decode_base64(std::string_view text, std::vector<std::uint8_t>& bytes) {
    bytes.resize(text.size() / 4 * 3 + 3);
    std::uint8_t* to = bytes.data();
    const char* at = text.data();
    const char* end = at + text.size();
    std::uint32_t group = 0;
    int in_group = 0;
    int pads = 0; // Consecutive '=' so far, whatever is skipped among them.
    while (at < end) {
        if (in_group == 0) {
            while (end - at >= 4) {
                const std::uint32_t a = value_of(at[0]);
                const std::uint32_t b = value_of(at[1]);
                const std::uint32_t c = value_of(at[2]);
                const std::uint32_t d = value_of(at[3]);
                if ((a | b | c | d) >= pad) break;
                group = a << 18 | b << 12 | c << 6 | d;
                to[0] = static_cast<std::uint8_t>(group >> 16);
                to[1] = static_cast<std::uint8_t>(group >> 8);
                to[2] = static_cast<std::uint8_t>(group);
                to += 3;
                at += 4;
                pads = 0;
            }
            if (at == end) break;
        }
        const std::uint8_t value = value_of(*at++);
        if (value == skipped) continue;
        if (value == refused) return false;
        pads = value == pad ? pads + 1 : 0;
        group = group << 6 | (value == pad ? 0U : value);
        if (++in_group < 4) continue;
        in_group = 0;
        *to++ = static_cast<std::uint8_t>(group >> 16);
        if (pads < 2) *to++ = static_cast<std::uint8_t>(group >> 8);
        if (pads < 1) *to++ = static_cast<std::uint8_t>(group);
    }
    bytes.resize(static_cast<std::size_t>(to - bytes.data()));
    return true;
}

char* encode_base64(const std::uint8_t* bytes, std::size_t size, char* to) {
    // Six bytes at a time, as long as eight can be read.
    for (; size >= 8; size -= 6, bytes += 6) {
        std::uint64_t word = 0;
        for (int i = 0; i < 8; ++i)
            word = word << 8 | bytes[i];
        for (int shift = 52; shift >= 16; shift -= 12, to += 2)
            std::memcpy(to, &pairs[word >> shift & 0xFFF], 2);
    }
    for (; size >= 3; size -= 3, bytes += 3, to += 4) {
        const std::size_t group = std::size_t{bytes[0]} << 16 | std::size_t{bytes[1]} << 8 | bytes[2];
        std::memcpy(to, &pairs[group >> 12], 2);
        std::memcpy(to + 2, &pairs[group & 0xFFF], 2);
    }
    if (size == 0) return to;
    const std::size_t rest = std::size_t{bytes[0]} << 8 | (size == 2 ? bytes[1] : 0U);
    std::memcpy(to, &pairs[rest >> 4], 2);
    to[2] = size == 2 ? alphabet[(rest & 15) << 2] : '=';
    to[3] = '=';
    return to + 4;
}

} // namespace cf::plist
