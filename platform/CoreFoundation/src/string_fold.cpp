#include "string_fold.h"

#include "unicode_tables.h"

#include <algorithm>
#include <cassert>

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

fold_reader::fold_reader(text_view text, CFRange range, CFStringCompareFlags options) noexcept
    : text_(text), next_(range.location), end_(range.location + range.length), options_(options),
      source_(range.location) {
    read_character();
}

void fold_reader::advance() noexcept {
    if (++at_ == count_) read_character();
}

void fold_reader::read_character() noexcept {
    at_ = 0;
    count_ = 0;
    while (count_ == 0 && next_ < end_) { // a mark may come to nothing
        source_ = next_++;
        const char32_t unit = text_[source_];
        // Characters, not units, are what accents and decompositions are about.
        const bool pair = (options_ & decomposing) != 0 && (unit & 0xFC00U) == 0xD800 && next_ < end_ &&
                          (text_[next_] & 0xFC00U) == 0xDC00;
        add(pair ? 0x10000U + ((unit & 0x3FFU) << 10U) + (text_[next_++] & 0x3FFU) : unit);
    }
}

void fold_reader::add(char32_t character) noexcept {
    if (character < 0xFFFF && (options_ & kCFCompareWidthInsensitive) != 0)
        character = map_by_runs(widths, static_cast<UniChar>(character));
    if (character > 0xFFFF || (options_ & kCFCompareCaseInsensitive) == 0) return decompose(character);
    const mapped lower = fold_case(static_cast<UniChar>(character));
    for (std::size_t i = 0; i < lower.count; ++i)
        decompose(lower.units[i]);
}

void fold_reader::decompose(char32_t character) noexcept {
    if ((options_ & decomposing) == 0) return put(character);
    if (character >= 0xAC00 && character <= 0xD7A3) return decompose_hangul(character);
    const decomposition* parts = find_decomposition(character);
    if (parts == nullptr) return put(character);
    decompose(parts->first);
    if (parts->second != 0) decompose(parts->second);
}

void fold_reader::decompose_hangul(char32_t syllable) noexcept {
    const char32_t index = syllable - 0xAC00;
    put(0x1100 + index / (21 * 28));
    put(0x1161 + index / 28 % 21);
    if (index % 28 != 0) put(0x11A7 + index % 28);
}

void fold_reader::put(char32_t character) noexcept {
    if ((options_ & kCFCompareDiacriticInsensitive) != 0 && is_mark(character)) return;
    assert(count_ < pieces_.size());
    pieces_[count_++] = character;
}

} // namespace cf
