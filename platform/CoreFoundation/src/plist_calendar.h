// The dates of textual property lists: years, months and days of the Gregorian calendar, in UTC.
#ifndef COREFOUNDATION_SRC_PLIST_CALENDAR_H
#define COREFOUNDATION_SRC_PLIST_CALENDAR_H

#include <CoreFoundation/CFDate.h>

#include <optional>
#include <string_view>

namespace cf::plist {

/// Reads "[-]Y-MM-DDThh:mm:ssZ". The year has any number of digits and is taken modulo 2^32; the other fields
/// have two and may be out of range: they run over into the next larger ones. Month 0 counts as month 1.
std::optional<CFAbsoluteTime> parse_date(std::string_view text);

/// The longest text that format_date writes.
inline constexpr std::size_t longest_date = 32;

/// Writes the date at `to`, which has room for longest_date characters, and returns the end. The fraction of
/// a second is cut off towards the past. Null for dates that are not finite or whose year parse_date could
/// not give back.
char* format_date(CFAbsoluteTime time, char* to);

} // namespace cf::plist

#endif
