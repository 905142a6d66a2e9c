#include "utf.h"

#include <cstddef>
#include <stdexcept>

namespace QV::utf {
namespace {

[[noreturn]] void fail() {
    throw std::runtime_error("Conversion failed");
}

constexpr bool is_high_surrogate(char32_t c) {
    return c >= 0xD800 && c < 0xDC00;
}
constexpr bool is_low_surrogate(char32_t c) {
    return c >= 0xDC00 && c < 0xE000;
}

// What a lead byte announces: how many bytes follow, and the range of the first of them, which is where
// overlong forms, surrogates and values past the end of Unicode show themselves.
struct lead {
    int following = -1;
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
};

constexpr lead classify(unsigned char byte) {
    if (byte < 0x80) return {0};
    if (byte < 0xC2) return {};
    if (byte < 0xE0) return {1};
    if (byte == 0xE0) return {2, 0xA0, 0xBF};
    if (byte == 0xED) return {2, 0x80, 0x9F};
    if (byte < 0xF0) return {2};
    if (byte == 0xF0) return {3, 0x90, 0xBF};
    if (byte < 0xF4) return {3};
    if (byte == 0xF4) return {3, 0x80, 0x8F};
    return {};
}

// Reads the character at `position` and moves past it; false, having moved past the malformed part, if there
// is none.
bool decode(std::string_view text, std::size_t& position, char32_t& character) {
    const auto first = static_cast<unsigned char>(text[position++]);
    lead expected = classify(first);
    if (expected.following < 0) return false;
    character = expected.following == 0 ? first : first & (0x3Fu >> expected.following);
    for (; expected.following > 0; --expected.following) {
        if (position == text.size()) return false;
        const auto next = static_cast<unsigned char>(text[position]);
        if (next < expected.lowest || next > expected.highest) return false;
        expected.lowest = 0x80;
        expected.highest = 0xBF;
        character = character << 6 | (next & 0x3Fu);
        ++position;
    }
    return true;
}

void append(std::u16string& out, char32_t c) {
    if (c < 0x10000) {
        out.push_back(static_cast<char16_t>(c));
        return;
    }
    c -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
}

void append(std::string& out, char32_t c) {
    const auto trail = [&](int shift) { out.push_back(static_cast<char>(0x80 | (c >> shift & 0x3F))); };
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | c >> 6));
        trail(0);
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | c >> 12));
        trail(6);
        trail(0);
    } else {
        out.push_back(static_cast<char>(0xF0 | c >> 18));
        trail(12);
        trail(6);
        trail(0);
    }
}

} // namespace

std::u16string to_utf16(std::string_view text, mode mode) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        char32_t character = 0;
        if (decode(text, position, character))
            append(out, character);
        else if (mode == mode::strict)
            fail();
    }
    return out;
}

std::string to_utf8(std::u16string_view text, mode mode) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        char32_t character = text[position++];
        bool sound = !is_low_surrogate(character);
        if (is_high_surrogate(character)) {
            sound = position < text.size() && is_low_surrogate(text[position]);
            if (sound) character = 0x10000 + ((character - 0xD800) << 10) + (text[position] - 0xDC00u);
            if (position < text.size()) ++position;
        }
        if (sound)
            append(out, character);
        else if (mode == mode::strict)
            fail();
    }
    return out;
}

} // namespace QV::utf
