#include "plist_sha256.h"

#include "plist_cases.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace {

using words = std::array<std::uint32_t, 8>;

// The first 32 bits of the fractional part.
std::uint32_t fraction_bits(long double value) {
    return static_cast<std::uint32_t>((value - std::floor(value)) * 4294967296.0L);
}

// The constants are defined by the roots of the first primes.
struct constants {
    words initial{};
    std::array<std::uint32_t, 64> rounds{};

    constants() {
        std::size_t found = 0;
        for (int candidate = 2; found < rounds.size(); ++candidate) {
            bool prime = true;
            for (int divisor = 2; divisor * divisor <= candidate; ++divisor)
                prime = prime && candidate % divisor != 0;
            if (!prime) continue;
            const auto value = static_cast<long double>(candidate);
            if (found < initial.size()) initial[found] = fraction_bits(std::sqrt(value));
            rounds[found++] = fraction_bits(std::cbrt(value));
        }
    }
};

void add_block(words& state, const std::array<std::uint32_t, 64>& rounds, const unsigned char* block) {
    std::array<std::uint32_t, 64> w{};
    for (std::size_t i = 0; i < 16; ++i)
        w[i] = std::uint32_t{block[4 * i]} << 24 | std::uint32_t{block[4 * i + 1]} << 16 |
               std::uint32_t{block[4 * i + 2]} << 8 | block[4 * i + 3];
    for (std::size_t i = 16; i < w.size(); ++i) {
        const std::uint32_t a = w[i - 15];
        const std::uint32_t b = w[i - 2];
        w[i] = w[i - 16] + w[i - 7] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ a >> 3) +
               (std::rotr(b, 17) ^ std::rotr(b, 19) ^ b >> 10);
    }
    words s = state;
    for (std::size_t i = 0; i < w.size(); ++i) {
        const std::uint32_t sum1 = std::rotr(s[4], 6) ^ std::rotr(s[4], 11) ^ std::rotr(s[4], 25);
        const std::uint32_t choice = (s[4] & s[5]) ^ (~s[4] & s[6]);
        const std::uint32_t sum0 = std::rotr(s[0], 2) ^ std::rotr(s[0], 13) ^ std::rotr(s[0], 22);
        const std::uint32_t majority = (s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]);
        const std::uint32_t first = s[7] + sum1 + choice + rounds[i] + w[i];
        s = {first + sum0 + majority, s[0], s[1], s[2], s[3] + first, s[4], s[5], s[6]};
    }
    for (std::size_t i = 0; i < s.size(); ++i)
        state[i] += s[i];
}

} // namespace

std::string sha256(std::string_view bytes) {
    static const constants known;
    std::string padded(bytes);
    padded += '\x80';
    padded.append((120 - padded.size() % 64) % 64, '\0');
    const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
    for (int shift = 56; shift >= 0; shift -= 8)
        padded += static_cast<char>(bits >> shift & 0xFF);
    words state = known.initial;
    for (std::size_t at = 0; at < padded.size(); at += 64)
        add_block(state, known.rounds, reinterpret_cast<const unsigned char*>(padded.data()) + at);
    std::string sum;
    for (const std::uint32_t word : state) {
        for (int shift = 24; shift >= 0; shift -= 8)
            sum += static_cast<char>(word >> shift & 0xFF);
    }
    return plist_cases::to_hex(sum);
}
