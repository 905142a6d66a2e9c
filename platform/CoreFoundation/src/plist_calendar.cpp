#include "plist_calendar.h"

#include "ascii.h"

#include <cmath>
#include <cstdint>

namespace cf::plist {

namespace {

constexpr std::int64_t seconds_per_day = 86400;
constexpr std::int64_t days_per_era = 146097; ///< 400 years.
/// Days from 1 March of year 0 to 1 January 2001.
constexpr std::int64_t reference_day = 730791;

// The year of these two begins on 1 March, so that the leap day is its last.

std::int64_t days_from_civil(std::int64_t year, std::int64_t month, std::int64_t day) {
    if (month <= 2) --year;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t year_of_era = year - era * 400;
    const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
    return era * days_per_era + day_of_era - reference_day;
}

struct civil {
    std::int64_t year;
    int month;
    int day;
};

civil civil_from_days(std::int64_t days) {
    days += reference_day;
    const std::int64_t era = (days >= 0 ? days : days - (days_per_era - 1)) / days_per_era;
    const std::int64_t day_of_era = days - era * days_per_era;
    const std::int64_t year_of_era =
        (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / (days_per_era - 1)) / 365;
    const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const std::int64_t month = (5 * day_of_year + 2) / 153;
    civil result{};
    result.day = static_cast<int>(day_of_year - (153 * month + 2) / 5 + 1);
    result.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
    result.year = year_of_era + era * 400 + (result.month <= 2 ? 1 : 0);
    return result;
}

char* two_digits(int value, char* to) {
    *to++ = static_cast<char>('0' + value / 10);
    *to++ = static_cast<char>('0' + value % 10);
    return to;
}

} // namespace

std::optional<CFAbsoluteTime> parse_date(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    std::uint32_t magnitude = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && is_digit(text[digits]); ++digits)
        magnitude = magnitude * 10 + static_cast<std::uint32_t>(text[digits] - '0');
    if (digits == 0) return std::nullopt;
    text.remove_prefix(digits);

    constexpr std::string_view shape = "-00-00T00:00:00Z";
    std::int64_t fields[5] = {};
    if (text.size() != shape.size()) return std::nullopt;
    for (std::size_t i = 0, field = 0; i < shape.size(); ++i) {
        if (shape[i] != '0') {
            if (text[i] != shape[i]) return std::nullopt;
            continue;
        }
        if (!is_digit(text[i])) return std::nullopt;
        fields[field] = fields[field] * 10 + (text[i] - '0');
        if (shape[i + 1] != '0') ++field;
    }
    std::int64_t year = static_cast<std::int32_t>(negative ? 0U - magnitude : magnitude);
    const std::int64_t month = fields[0] == 0 ? 0 : fields[0] - 1;
    year += month / 12;
    const std::int64_t days = days_from_civil(year, month % 12 + 1, 1) + fields[1] - 1;
    return static_cast<double>(days * seconds_per_day + fields[2] * 3600 + fields[3] * 60 + fields[4]);
}

char* format_date(CFAbsoluteTime time, char* to) {
    // Some 2^31 years; beyond them the conversion to an integer would overflow sooner or later.
    constexpr double limit = 6.8e16;
    const double floored = std::floor(time);
    if (!(std::fabs(floored) < limit)) return nullptr;
    const auto seconds = static_cast<std::int64_t>(floored);
    std::int64_t days = seconds / seconds_per_day;
    std::int64_t rest = seconds % seconds_per_day;
    if (rest < 0) {
        rest += seconds_per_day;
        --days;
    }
    const civil date = civil_from_days(days);
    if (date.year < INT32_MIN || date.year > INT32_MAX) return nullptr;

    // "%04d": four places, of which the sign takes one.
    const bool negative = date.year < 0;
    auto magnitude = static_cast<std::uint64_t>(negative ? -date.year : date.year);
    char reversed[12];
    int count = 0;
    for (; magnitude != 0 || count < (negative ? 3 : 4); magnitude /= 10)
        reversed[count++] = static_cast<char>('0' + magnitude % 10);
    if (negative) *to++ = '-';
    while (count > 0)
        *to++ = reversed[--count];

    *to++ = '-';
    to = two_digits(date.month, to);
    *to++ = '-';
    to = two_digits(date.day, to);
    *to++ = 'T';
    to = two_digits(static_cast<int>(rest / 3600), to);
    *to++ = ':';
    to = two_digits(static_cast<int>(rest / 60 % 60), to);
    *to++ = ':';
    to = two_digits(static_cast<int>(rest % 60), to);
    *to++ = 'Z';
    return to;
}

} // namespace cf::plist
