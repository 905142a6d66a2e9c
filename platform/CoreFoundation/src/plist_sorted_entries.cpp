#include "plist_sorted_entries.h"

#include <algorithm>

namespace cf::plist {

namespace {

text_view key_of(const entry& each) {
    return view(static_cast<CFStringRef>(each.key));
}

// The first eight bytes of an ASCII text, the first one highest; a shorter text comes before a longer one
// that it begins.
std::uint64_t prefix_of(std::string_view text) {
    std::uint64_t prefix = 0;
    const std::size_t count = std::min<std::size_t>(text.size(), 8);
    for (std::size_t i = 0; i < count; ++i)
        prefix |= std::uint64_t{static_cast<unsigned char>(text[i])} << (56 - 8 * i);
    return prefix;
}

} // namespace

void append_sorted(std::span<const entry> entries, std::vector<sorted_entry>& to) {
    const bool all_narrow =
        std::none_of(entries.begin(), entries.end(), [](const entry& each) { return key_of(each).wide; });
    const auto first = static_cast<std::ptrdiff_t>(to.size());
    for (const entry& each : entries)
        to.push_back({all_narrow ? prefix_of(key_of(each).narrow()) : 0, &each});
    const auto before = [](const sorted_entry& a, const sorted_entry& b) {
        if (a.prefix != b.prefix) return a.prefix < b.prefix;
        return compare_units(key_of(*a.source), key_of(*b.source)) < 0;
    };
    // What was read from a written list is in order already.
    if (!std::is_sorted(to.begin() + first, to.end(), before))
        std::sort(to.begin() + first, to.end(), before);
}

} // namespace cf::plist
