#include "decimal.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace cf {

namespace {

// Whether a number that does not fit a double is too large for it rather than too small: the power of ten of
// its first digit other than zero decides.
bool is_large(std::string_view text) {
    long long power = 0;
    bool seen_point = false;
    bool seen_digit = false;
    std::size_t i = 0;
    for (; i < text.size() && text[i] != 'e' && text[i] != 'E'; ++i) {
        if (text[i] == '.') {
            seen_point = true;
        } else if (text[i] >= '0' && text[i] <= '9') {
            seen_digit = seen_digit || text[i] != '0';
            if (seen_digit && !seen_point) ++power;
            if (!seen_digit && seen_point) --power;
        }
    }
    if (i == text.size()) return power > 0;
    std::string_view exponent = text.substr(i + 1);
    const bool is_negative = exponent.starts_with('-');
    if (is_negative || exponent.starts_with('+')) exponent.remove_prefix(1);
    long long value = 0;
    const auto [end, error] = std::from_chars(exponent.data(), exponent.data() + exponent.size(), value);
    if (error != std::errc{}) return !is_negative;
    return is_negative ? power > value : power + value > 0;
}

} // namespace

double parse_decimal(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc::result_out_of_range) return error == std::errc{} ? value : 0;
    const double extreme = is_large(text) ? std::numeric_limits<double>::infinity() : 0.0;
    return text.starts_with('-') ? -extreme : extreme;
}

std::string format_decimal(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
    if (value == 0) return "0.0";
    std::array<char, 40> digits{};
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::general, 17);
    return {digits.data(), error == std::errc{} ? end : digits.data()};
}

} // namespace cf
