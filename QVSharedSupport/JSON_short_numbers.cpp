#include "JSON_short_numbers.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace QV::SharedSupport::JSON {

namespace {

// RapidJSON takes 17 digits and leaves the rest, but to it the zeros of "0.00" are none: it counts them on
// and on. With so many of them, and so many digits in an exponent below zero, nothing overflows. An exponent
// above zero may be of any length then: it is refused while it is read.
constexpr std::size_t most_zeros = 1'000'000;
constexpr std::size_t most_digits_below_zero = 9;
constexpr long long largest_exponent = 999'999'999;

bool is_zero(char c) {
    return c == '0';
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// How many of them stand in a row from `at` on.
std::size_t count(const std::string& text, std::size_t at, bool (*is_one)(char)) {
    std::size_t end = at;
    while (end != text.size() && is_one(text[end]))
        ++end;
    return end - at;
}

bool has_long_exponent(const std::string& text) {
    for (std::size_t at = text.find('-', 1); at != std::string::npos; at = text.find('-', at + 1)) {
        const char before = text[at - 1];
        if ((before == 'e' || before == 'E') && count(text, at + 1, is_digit) > most_digits_below_zero)
            return true;
    }
    return false;
}

bool has_many_zeros(const std::string& text) {
    // That many in a row cover one of these places.
    for (std::size_t at = most_zeros; at < text.size(); at += most_zeros) {
        if (text[at] != '0') continue;
        const std::size_t first = text.find_last_not_of('0', at) + 1;
        if (count(text, first, is_zero) > most_zeros) return true;
    }
    return false;
}

// Whether the point at `at` follows a 0 that is the whole integer.
bool is_point_after_zero(const std::string& text, std::size_t at) {
    return text[at] == '.' && at != 0 && text[at - 1] == '0' && (at == 1 || !is_digit(text[at - 2]));
}

struct exponent {
    long long value = 0;
    std::size_t length = 0; // With its sign; 0 if there is none.
};

exponent read_exponent(const std::string& text, std::size_t at) {
    constexpr long long beyond_any_text = 1'000'000'000'000'000'000;
    const bool is_negative = text[at] == '-';
    const std::size_t first = at + (is_negative || text[at] == '+' ? 1 : 0);
    const std::size_t length = count(text, first, is_digit);
    if (length == 0) return {};
    long long value = 0;
    const char* const begin = text.data() + first;
    if (std::from_chars(begin, begin + length, value).ec != std::errc()) value = beyond_any_text;
    value = std::min(value, beyond_any_text);
    return {is_negative ? -value : value, first + length - at};
}

} // namespace

bool may_have_long_numbers(const std::string& text) {
    return has_long_exponent(text) || has_many_zeros(text);
}

std::string with_short_numbers(const std::string& text) {
    std::string result;
    bool in_string = false;
    std::size_t left_out = 0; // Zeros after the point of the number at hand.
    for (std::size_t at = 0; at != text.size();) {
        const char c = text[at];
        result += c;
        ++at;
        if (c == '"') {
            in_string = !in_string;
        } else if (in_string) {
            if (c == '\\' && at != text.size()) result += text[at++];
        } else if (is_point_after_zero(text, at - 1)) {
            left_out = std::max(count(text, at, is_zero), most_zeros) - most_zeros;
            at += left_out;
        } else if (c == 'e' || c == 'E') {
            if (const exponent found = read_exponent(text, at); found.length != 0) {
                const long long value = found.value - static_cast<long long>(left_out);
                result += std::to_string(std::clamp(value, -largest_exponent, largest_exponent));
                at += found.length;
            }
            left_out = 0;
        } else if (!is_digit(c)) {
            left_out = 0;
        }
    }
    return result;
}

} // namespace QV::SharedSupport::JSON
