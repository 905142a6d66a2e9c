#include "string_fold.h"

#include "unicode_tables.h"

#include <algorithm>

namespace cf {

namespace {

constexpr CFStringCompareFlags decomposing = kCFCompareNonliteral | kCFCompareDiacriticInsensitive;

// The character that a run maps `unit` to; `unit` itself if none does.
UniChar map_by_runs(std::span<const case_run> runs, UniChar unit) {
    const auto run =
        std::partition_point(runs.begin(), runs.end(), [unit](const case_run& r) { return r.last < unit; });
    if (run == runs.end() || unit < run->first || (unit - run->first) % run->stride != 0) return unit;
    return static_cast<UniChar>(unit + run->distance);
}

mapped map_case(std::span<const case_run> runs, std::span<const case_expansion> expansions, UniChar unit) {
    const auto found = std::partition_point(expansions.begin(), expansions.end(),
                                            [unit](const case_expansion& e) { return e.character < unit; });
    if (found == expansions.end() || found->character != unit) return {{map_by_runs(runs, unit)}, 1};
    return {found->to, found->to[2] == 0 ? 2U : 3U};
}

mapped fold_case(UniChar unit) {
    if (unit < 0x80)
        return {{static_cast<UniChar>(unit >= 'A' && unit <= 'Z' ? unit + ('a' - 'A') : unit)}, 1};
    return map_case(folding_runs, folding_expansions, unit);
}

const decomposition* find_decomposition(char32_t character) {
    const auto found =
        std::partition_point(decompositions.begin(), decompositions.end(),
                             [character](const decomposition& d) { return d.character < character; });
    return found == decompositions.end() || found->character != character ? nullptr : &*found;
}

// Collects what one source character comes to.
class folder {
public:
    folder(std::vector<folded>& out, CFStringCompareFlags options) : out_(out), options_(options) {}

    void add(char32_t character, CFIndex source) {
        if (character < 0xFFFF && (options_ & kCFCompareWidthInsensitive) != 0)
            character = map_by_runs(widths, static_cast<UniChar>(character));
        if (character > 0xFFFF || (options_ & kCFCompareCaseInsensitive) == 0)
            return decompose(character, source);
        const mapped lower = fold_case(static_cast<UniChar>(character));
        for (std::size_t i = 0; i < lower.count; ++i)
            decompose(lower.units[i], source);
    }

private:
    void decompose(char32_t character, CFIndex source) {
        if ((options_ & decomposing) == 0) return put(character, source);
        if (character >= 0xAC00 && character <= 0xD7A3) return decompose_hangul(character, source);
        const decomposition* parts = find_decomposition(character);
        if (parts == nullptr) return put(character, source);
        decompose(parts->first, source);
        if (parts->second != 0) decompose(parts->second, source);
    }

    void decompose_hangul(char32_t syllable, CFIndex source) {
        const char32_t index = syllable - 0xAC00;
        put(0x1100 + index / (21 * 28), source);
        put(0x1161 + index / 28 % 21, source);
        if (index % 28 != 0) put(0x11A7 + index % 28, source);
    }

    void put(char32_t character, CFIndex source) {
        if ((options_ & kCFCompareDiacriticInsensitive) != 0 && is_mark(character)) return;
        out_.push_back({character, source});
    }

    std::vector<folded>& out_;
    CFStringCompareFlags options_;
};

} // namespace

mapped to_lower(UniChar unit) {
    if (unit < 0x80) return fold_case(unit);
    return map_case(lower_runs, lower_expansions, unit);
}

mapped to_upper(UniChar unit) {
    if (unit < 0x80)
        return {{static_cast<UniChar>(unit >= 'a' && unit <= 'z' ? unit - ('a' - 'A') : unit)}, 1};
    return map_case(upper_runs, upper_expansions, unit);
}

bool is_mark(char32_t character) {
    const auto found = std::partition_point(
        marks.begin(), marks.end(), [character](const character_range& r) { return r.last < character; });
    return found != marks.end() && character >= found->first;
}

bool folds(CFStringCompareFlags options) {
    return (options & (decomposing | kCFCompareCaseInsensitive | kCFCompareWidthInsensitive)) != 0;
}

std::vector<folded> fold(text_view text, CFRange range, CFStringCompareFlags options) {
    std::vector<folded> out;
    out.reserve(static_cast<std::size_t>(range.length));
    folder folder(out, options);
    const CFIndex end = range.location + range.length;
    for (CFIndex i = range.location; i < end; ++i) {
        const char32_t unit = text[i];
        // Characters, not units, are what accents and decompositions are about.
        const bool pair = (options & decomposing) != 0 && (unit & 0xFC00U) == 0xD800 && i + 1 < end &&
                          (text[i + 1] & 0xFC00U) == 0xDC00;
        if (!pair) {
            folder.add(unit, i);
            continue;
        }
        folder.add(0x10000U + ((unit & 0x3FFU) << 10U) + (text[i + 1] & 0x3FFU), i);
        ++i;
    }
    return out;
}

} // namespace cf
