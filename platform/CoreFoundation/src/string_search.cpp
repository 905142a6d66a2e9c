// Comparing and searching strings.
#include "string_fold.h"

#include <CoreFoundation/CFArray.h>

#include <algorithm>
#include <functional>
#include <new>
#include <optional>

namespace {

using cf::folded;
using cf::text_view;

CFComparisonResult sign(int order) {
    return order < 0 ? kCFCompareLessThan : order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

bool is_digit(const folded& piece) {
    return piece.character >= '0' && piece.character <= '9';
}

using position = std::vector<folded>::const_iterator;

// Compares the runs of digits at two places as numbers of any length and moves behind them.
int compare_numbers(position& a, position a_end, position& b, position b_end) {
    const auto is_zero = [](const folded& piece) { return piece.character == '0'; };
    a = std::find_if_not(a, a_end, is_zero);
    b = std::find_if_not(b, b_end, is_zero);
    const position a_stop = std::find_if_not(a, a_end, is_digit);
    const position b_stop = std::find_if_not(b, b_end, is_digit);
    if (a_stop - a != b_stop - b) return a_stop - a < b_stop - b ? -1 : 1;
    for (; a != a_stop; ++a, ++b) {
        if (a->character != b->character) return a->character < b->character ? -1 : 1;
    }
    return 0;
}

int compare_folded(const std::vector<folded>& first, const std::vector<folded>& second, bool numerically) {
    position a = first.begin();
    position b = second.begin();
    while (a != first.end() && b != second.end()) {
        if (numerically && is_digit(*a) && is_digit(*b)) {
            const int order = compare_numbers(a, first.end(), b, second.end());
            if (order != 0) return order;
            continue;
        }
        if (a->character != b->character) return a->character < b->character ? -1 : 1;
        ++a;
        ++b;
    }
    if (a == first.end()) return b == second.end() ? 0 : -1;
    return 1;
}

text_view part(text_view text, CFRange range) {
    const std::size_t width = text.wide ? sizeof(UniChar) : 1;
    return {static_cast<const char*>(text.units) + width * static_cast<std::size_t>(range.location),
            range.length, text.wide};
}

int compare(text_view a, CFRange range, text_view b, CFStringCompareFlags options) {
    const bool numerically = (options & kCFCompareNumerically) != 0;
    if (cf::folds(options) || numerically) {
        const int order = compare_folded(cf::fold(a, range, options),
                                         cf::fold(b, CFRangeMake(0, b.length), options), numerically);
        if (order != 0 || (options & kCFCompareForcedOrdering) == 0) return order;
    }
    return cf::compare_units(part(a, range), b);
}

// Where a text may be found: first or last, and only at the edge of the range or anywhere.
struct direction {
    bool backwards;
    bool anchored;

    explicit direction(CFStringCompareFlags options)
        : backwards((options & kCFCompareBackwards) != 0), anchored((options & kCFCompareAnchored) != 0) {}

    // Tries `matches` at the places 0 to `last`, in order.
    template <typename Matches>
    std::optional<std::size_t> search(std::size_t last, Matches matches) const {
        const std::size_t places = anchored ? 1 : last + 1;
        for (std::size_t i = 0; i < places; ++i) {
            const std::size_t place = backwards ? last - i : i;
            if (matches(place)) return place;
        }
        return std::nullopt;
    }
};

std::optional<CFRange> find_literally(text_view text, CFRange range, text_view wanted, direction where) {
    if (wanted.length > range.length) return std::nullopt;
    if (!text.wide && !wanted.wide && !where.anchored) {
        const std::string_view space = part(text, range).narrow();
        const std::size_t found =
            where.backwards ? space.rfind(wanted.narrow()) : space.find(wanted.narrow());
        if (found == std::string_view::npos) return std::nullopt;
        return CFRangeMake(range.location + static_cast<CFIndex>(found), wanted.length);
    }
    const auto found =
        where.search(static_cast<std::size_t>(range.length - wanted.length), [&](std::size_t place) {
            const CFIndex start = range.location + static_cast<CFIndex>(place);
            for (CFIndex i = 0; i < wanted.length; ++i) {
                if (text[start + i] != wanted[i]) return false;
            }
            return true;
        });
    if (!found) return std::nullopt;
    return CFRangeMake(range.location + static_cast<CFIndex>(*found), wanted.length);
}

std::optional<CFRange> find_folded(text_view text, CFRange range, text_view wanted,
                                   CFStringCompareFlags options) {
    const std::vector<folded> space = cf::fold(text, range, options);
    const std::vector<folded> needle = cf::fold(wanted, CFRangeMake(0, wanted.length), options);
    if (needle.empty() || needle.size() > space.size()) return std::nullopt;
    const bool whole_characters = (options & kCFCompareNonliteral) != 0;
    // A match covers whole characters: it neither begins nor ends within what came of one, nor, when composed
    // and decomposed forms are the same, between a letter and its marks.
    const auto is_boundary = [&](std::size_t place) {
        if (place == space.size()) return true;
        if (place > 0 && space[place].source == space[place - 1].source) return false;
        return !whole_characters || place == 0 || !cf::is_mark(space[place].character);
    };
    const auto found = direction(options).search(space.size() - needle.size(), [&](std::size_t place) {
        return is_boundary(place) && is_boundary(place + needle.size()) &&
               std::equal(needle.begin(), needle.end(), space.begin() + static_cast<std::ptrdiff_t>(place),
                          [](const folded& a, const folded& b) { return a.character == b.character; });
    });
    if (!found) return std::nullopt;
    const CFIndex start = space[*found].source;
    const std::size_t behind = *found + needle.size();
    const CFIndex end = behind == space.size() ? range.location + range.length : space[behind].source;
    return CFRangeMake(start, end - start);
}

std::optional<CFRange> find(text_view text, CFRange range, text_view wanted, CFStringCompareFlags options) {
    if (wanted.length == 0 || range.length == 0) return std::nullopt;
    if (!cf::folds(options)) return find_literally(text, range, wanted, direction(options));
    return find_folded(text, range, wanted, options);
}

const void* retain_range(CFAllocatorRef allocator, const void* value) {
    auto* copy =
        static_cast<CFRange*>(CFAllocatorAllocate(allocator, static_cast<CFIndex>(sizeof(CFRange)), 0));
    if (copy != nullptr) *copy = *static_cast<const CFRange*>(value);
    return copy;
}

void release_range(CFAllocatorRef allocator, const void* value) {
    CFAllocatorDeallocate(allocator, const_cast<void*>(value));
}

Boolean equal_ranges(const void* value1, const void* value2) {
    const auto* a = static_cast<const CFRange*>(value1);
    const auto* b = static_cast<const CFRange*>(value2);
    return a->location == b->location && a->length == b->length;
}

constexpr CFArrayCallBacks range_callbacks = {0, retain_range, release_range, nullptr, equal_ranges};

} // namespace

CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1, CFStringRef theString2,
                                              CFRange rangeToCompare, CFStringCompareFlags compareOptions) {
    const bool first_is = cf::is(theString1, cf::type::string);
    const bool second_is = cf::is(theString2, cf::type::string);
    if (!first_is || !second_is) return sign(int{first_is} - int{second_is});
    const text_view text = cf::view(theString1);
    if (!cf::contains(text.length, rangeToCompare)) rangeToCompare = CFRangeMake(0, text.length);
    try {
        return sign(compare(text, rangeToCompare, cf::view(theString2), compareOptions));
    } catch (const std::bad_alloc&) {
        return sign(cf::compare_units(part(text, rangeToCompare), cf::view(theString2)));
    }
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
    return CFStringCompareWithOptions(theString1, theString2, CFRangeMake(0, CFStringGetLength(theString1)),
                                      compareOptions);
}

CFComparisonResult CFStringCompareWithOptionsAndLocale(CFStringRef theString1, CFStringRef theString2,
                                                       CFRange rangeToCompare,
                                                       CFStringCompareFlags compareOptions, CFLocaleRef) {
    return CFStringCompareWithOptions(theString1, theString2, rangeToCompare, compareOptions);
}

Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind, CFRange rangeToSearch,
                                CFStringCompareFlags searchOptions, CFRange* result) {
    if (!cf::is(theString, cf::type::string) || !cf::is(stringToFind, cf::type::string)) return false;
    const text_view text = cf::view(theString);
    if (!cf::contains(text.length, rangeToSearch)) return false;
    try {
        const auto found = find(text, rangeToSearch, cf::view(stringToFind), searchOptions);
        if (found && result != nullptr) *result = *found;
        return found.has_value();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

Boolean CFStringFindWithOptionsAndLocale(CFStringRef theString, CFStringRef stringToFind,
                                         CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                         CFLocaleRef, CFRange* result) {
    return CFStringFindWithOptions(theString, stringToFind, rangeToSearch, searchOptions, result);
}

CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind, CFStringCompareFlags compareOptions) {
    CFRange found = CFRangeMake(kCFNotFound, 0);
    CFStringFindWithOptions(theString, stringToFind, CFRangeMake(0, CFStringGetLength(theString)),
                            compareOptions, &found);
    return found;
}

CFArrayRef CFStringCreateArrayWithFindResults(CFAllocatorRef alloc, CFStringRef theString,
                                              CFStringRef stringToFind, CFRange rangeToSearch,
                                              CFStringCompareFlags compareOptions) {
    cf::owned<CFMutableArrayRef> results;
    CFRange found;
    while (CFStringFindWithOptions(theString, stringToFind, rangeToSearch, compareOptions, &found)) {
        if (!results) results = cf::owned(CFArrayCreateMutable(alloc, 0, &range_callbacks));
        if (!results) return nullptr;
        CFArrayAppendValue(results.get(), &found);
        const CFIndex end = rangeToSearch.location + rangeToSearch.length;
        if ((compareOptions & kCFCompareBackwards) != 0)
            rangeToSearch.length = found.location - rangeToSearch.location;
        else
            rangeToSearch = CFRangeMake(found.location + found.length, end - found.location - found.length);
    }
    return results.detach();
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
    return CFStringFindWithOptions(theString, prefix, CFRangeMake(0, CFStringGetLength(theString)),
                                   kCFCompareAnchored, nullptr);
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
    return CFStringFindWithOptions(theString, suffix, CFRangeMake(0, CFStringGetLength(theString)),
                                   kCFCompareAnchored | kCFCompareBackwards, nullptr);
}
