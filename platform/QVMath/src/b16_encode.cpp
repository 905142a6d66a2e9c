#include <QVMath/b16_encode.h>

#include <stdexcept>
#include <string_view>

namespace QV {

namespace {

constexpr std::string_view digits = "0123456789abcdef";

} // namespace

char b16_encode(unsigned int nibble) {
    if (nibble >= digits.size()) throw std::invalid_argument("A base-16 digit stands for 0 to 15");
    return digits[nibble];
}

std::string b16_encode(std::span<const std::byte> bytes) {
    std::string text;
    if (bytes.size() > text.max_size() / 2) throw std::length_error("Too many bytes for a base-16 text");
    text.reserve(bytes.size() * 2);
    for (const std::byte byte : bytes) {
        text += b16_encode(std::to_integer<unsigned int>(byte >> 4));
        text += b16_encode(std::to_integer<unsigned int>(byte & std::byte{0xF}));
    }
    return text;
}

} // namespace QV
