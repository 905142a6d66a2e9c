#include "plist_numbers.h"

#include "ascii.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace cf::plist {

namespace {

// How many bytes of white space begin at `at`: a control character or space, or a general space, line
// separator or ideographic space of Unicode.
std::ptrdiff_t blank_length(const char* at, const char* end) {
    const auto first = static_cast<unsigned char>(*at);
    if (first <= 0x20 || first == 0x7F) return 1;
    if (end - at < 3) return 0;
    const std::string_view three(at, 3);
    if (three == "\xE2\x81\x9F" || three == "\xE3\x80\x80") return 3; // U+205F, U+3000
    if (!three.starts_with("\xE2\x80")) return 0;
    const auto last = static_cast<unsigned char>(three[2]);
    const bool space = last >= 0x80 && last <= 0x8B; // U+2000 to U+200B
    return space || last == 0xA8 || last == 0xA9 || last == 0xAF ? 3 : 0;
}

void skip_blanks(const char*& at, const char* end) {
    while (at < end) {
        const std::ptrdiff_t length = blank_length(at, end);
        if (length == 0) return;
        at += length;
    }
}

// Reads digits up to '<'. At least one was promised.
integer_outcome parse_digits(const char*& at, const char* end, bool hexadecimal, parsed_integer& result) {
    const std::uint64_t base = hexadecimal ? 16 : 10;
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t value = 0;
    for (; at < end && *at != '<'; ++at) {
        const int digit = hex_value(*at);
        if (digit < 0) return integer_outcome::bad_character;
        if (digit > 9 && !hexadecimal) return integer_outcome::hex_digit;
        const auto next = static_cast<std::uint64_t>(digit);
        if (value > (most - next) / base)
            return result.negative ? integer_outcome::underflow : integer_outcome::overflow;
        value = value * base + next;
    }
    if (at == end) return integer_outcome::end_of_text;
    if (result.negative && value > std::uint64_t{1} << 63) return integer_outcome::underflow;
    result.magnitude = value;
    return integer_outcome::read;
}

bool equals_ignoring_case(std::string_view text, std::string_view lower) {
    if (text.size() != lower.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + ('a' - 'A')) : text[i];
        if (c != lower[i]) return false;
    }
    return true;
}

std::size_t digits_at(std::string_view text, std::size_t at) {
    std::size_t count = 0;
    while (at + count < text.size() && is_digit(text[at + count]))
        ++count;
    return count;
}

// What a decimal number whose value no double can hold comes to. `text` is well formed and has no sign.
double beyond_range(std::string_view text) {
    const std::size_t exponent_at = text.find_first_of("eE");
    const std::string_view mantissa = text.substr(0, exponent_at);
    const std::size_t point = mantissa.find('.');
    const std::size_t first = mantissa.find_first_not_of("0.");
    if (first == std::string_view::npos) return 0;
    // The power of ten of the first digit that counts, then that of the exponent.
    const auto units = static_cast<std::int64_t>(point == std::string_view::npos ? mantissa.size() : point);
    std::int64_t power = units - static_cast<std::int64_t>(first);
    if (exponent_at != std::string_view::npos) {
        std::string_view exponent = text.substr(exponent_at + 1);
        const bool negative = exponent.starts_with('-');
        if (negative || exponent.starts_with('+')) exponent.remove_prefix(1);
        constexpr std::int64_t enough = std::int64_t{1} << 60;
        std::int64_t value = 0;
        for (const char c : exponent)
            value = value > enough / 10 ? enough : value * 10 + (c - '0');
        power += negative ? -value : value;
    }
    return power > 0 ? std::numeric_limits<double>::infinity() : 0;
}

} // namespace

integer_outcome parse_integer(const char*& at, const char* end, parsed_integer& result) {
    skip_blanks(at, end);
    if (at == end) return integer_outcome::end_of_text;
    if (*at == '<') return integer_outcome::empty;
    if (*at == '-' || *at == '+') {
        result.negative = *at == '-';
        ++at;
        skip_blanks(at, end);
    }
    bool hexadecimal = false;
    if (end - at >= 2 && at[0] == '0' && (at[1] == 'x' || at[1] == 'X')) {
        hexadecimal = true;
        at += 2;
    }
    if (at == end) return integer_outcome::end_of_text;
    if (*at == '<') return integer_outcome::incomplete;
    return parse_digits(at, end, hexadecimal, result);
}

std::optional<double> parse_real(std::string_view text) {
    while (!text.empty() && (text[0] == ' ' || (text[0] >= '\t' && text[0] <= '\r')))
        text.remove_prefix(1);
    if (equals_ignoring_case(text, "nan")) return std::numeric_limits<double>::quiet_NaN();
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    const double sign = negative ? -1 : 1;
    if (equals_ignoring_case(text, "inf") || equals_ignoring_case(text, "infinity"))
        return sign * std::numeric_limits<double>::infinity();

    const std::size_t whole = digits_at(text, 0);
    std::size_t at = whole;
    std::size_t fraction = 0;
    if (at < text.size() && text[at] == '.') {
        fraction = digits_at(text, at + 1);
        at += 1 + fraction;
    }
    if (whole + fraction == 0) return std::nullopt;
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        ++at;
        if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
        const std::size_t exponent = digits_at(text, at);
        if (exponent == 0) return std::nullopt;
        at += exponent;
    }
    if (at != text.size()) return std::nullopt;

    double value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec == std::errc::result_out_of_range) value = beyond_range(text);
    return sign * value;
}

char* format_real(double value, char* to) {
    if (std::isnan(value)) return to + std::string_view("nan").copy(to, 3);
    if (std::isinf(value)) return to + std::string_view(value > 0 ? "+infinity" : "-infinity").copy(to, 9);
    if (value == 0) return to + std::string_view("0.0").copy(to, 3);
    // Up to here a whole number shows all its digits, and they are those of the integer.
    constexpr double largest_plain = 1e17;
    if (value > -largest_plain && value < largest_plain) {
        const auto whole = static_cast<std::int64_t>(value);
        if (static_cast<double>(whole) == value) return std::to_chars(to, to + longest_real, whole).ptr;
    }
    return std::to_chars(to, to + longest_real, value, std::chars_format::general, 17).ptr;
}

char* format_integer(int128 value, char* to) {
    const bool negative = value.high < 0;
    auto high = static_cast<std::uint64_t>(value.high);
    std::uint64_t low = value.low;
    if (negative) {
        high = ~high + (low == 0 ? 1 : 0);
        low = ~low + 1;
        *to++ = '-';
    }
    if (high == 0) return std::to_chars(to, to + longest_integer - 1, low).ptr;
    // Long division by ten, 32 bits at a time.
    std::uint32_t parts[4] = {static_cast<std::uint32_t>(high >> 32), static_cast<std::uint32_t>(high),
                              static_cast<std::uint32_t>(low >> 32), static_cast<std::uint32_t>(low)};
    char reversed[40];
    int count = 0;
    while ((parts[0] | parts[1] | parts[2] | parts[3]) != 0) {
        std::uint64_t rest = 0;
        for (std::uint32_t& part : parts) {
            rest = rest << 32 | part;
            part = static_cast<std::uint32_t>(rest / 10);
            rest %= 10;
        }
        reversed[count++] = static_cast<char>('0' + rest);
    }
    while (count > 0)
        *to++ = reversed[--count];
    return to;
}

} // namespace cf::plist
