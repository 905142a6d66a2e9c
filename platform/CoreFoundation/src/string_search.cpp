// Comparing and searching strings.
#include "string_fold.h"

#include <CoreFoundation/CFArray.h>

#include <algorithm>
#include <functional>
#include <optional>

namespace {

using cf::fold_reader;
using cf::text_view;

CFComparisonResult sign(int order) {
    return order < 0 ? kCFCompareLessThan : order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

bool is_digit(const fold_reader& place) {
    return !place.at_end() && *place >= '0' && *place <= '9';
}

// Reads on over digits, all of them or only zeros, and counts them.
std::size_t skip_digits(fold_reader& place, bool only_zeros) {
    std::size_t count = 0;
    for (; is_digit(place) && (!only_zeros || *place == '0'); place.advance())
        ++count;
    return count;
}

// Compares the runs of digits at two places as numbers of any length and moves behind them.
int compare_numbers(fold_reader& a, fold_reader& b) {
    skip_digits(a, true);
    skip_digits(b, true);
    fold_reader first = a;
    fold_reader second = b;
    const std::size_t a_digits = skip_digits(a, false);
    const std::size_t b_digits = skip_digits(b, false);
    if (a_digits != b_digits) return a_digits < b_digits ? -1 : 1;
    for (std::size_t i = 0; i < a_digits; ++i, first.advance(), second.advance()) {
        if (*first != *second) return *first < *second ? -1 : 1;
    }
    return 0;
}

int compare_folded(fold_reader a, fold_reader b, bool numerically) {
    while (!a.at_end() && !b.at_end()) {
        if (numerically && is_digit(a) && is_digit(b)) {
            const int order = compare_numbers(a, b);
            if (order != 0) return order;
            continue;
        }
        if (*a != *b) return *a < *b ? -1 : 1;
        a.advance();
        b.advance();
    }
    return int{b.at_end()} - int{a.at_end()};
}

text_view part(text_view text, CFRange range) {
    const std::size_t width = text.wide ? sizeof(UniChar) : 1;
    return {static_cast<const char*>(text.units) + width * static_cast<std::size_t>(range.location),
            range.length, text.wide};
}

int compare(text_view a, CFRange range, text_view b, CFStringCompareFlags options) {
    const bool numerically = (options & kCFCompareNumerically) != 0;
    if (cf::folds(options) || numerically) {
        const int order = compare_folded(fold_reader(a, range, options),
                                         fold_reader(b, CFRangeMake(0, b.length), options), numerically);
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

// Where a match that begins at `place` ends; nothing if there is none. It ends neither within what came of
// one character nor, when composed and decomposed forms are the same, between a letter and its marks.
std::optional<CFIndex> end_of_match(fold_reader place, fold_reader wanted, bool whole_characters,
                                    CFIndex end_of_range) {
    for (; !wanted.at_end(); wanted.advance(), place.advance()) {
        if (place.at_end() || *place != *wanted) return std::nullopt;
    }
    if (place.at_end()) return end_of_range;
    if (!place.begins_character() || (whole_characters && cf::is_mark(*place))) return std::nullopt;
    return place.source();
}

std::optional<CFRange> find_folded(text_view text, CFRange range, text_view wanted,
                                   CFStringCompareFlags options) {
    const direction where(options);
    const bool whole_characters = (options & kCFCompareNonliteral) != 0;
    const fold_reader needle(wanted, CFRangeMake(0, wanted.length), options);
    if (needle.at_end()) return std::nullopt;
    const CFIndex end_of_range = range.location + range.length;
    std::optional<CFRange> last;
    bool is_first = true;
    for (fold_reader place(text, range, options); !place.at_end(); place.advance(), is_first = false) {
        // It begins where it might end.
        const bool may_begin =
            place.begins_character() && (is_first || !whole_characters || !cf::is_mark(*place));
        if (may_begin && *place == *needle) {
            const std::optional<CFIndex> end = end_of_match(place, needle, whole_characters, end_of_range);
            if (end && (!where.backwards || !where.anchored || *end == end_of_range)) {
                last = CFRangeMake(place.source(), *end - place.source());
                if (!where.backwards) return last;
            }
        }
        if (where.anchored && !where.backwards) break;
    }
    return last;
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
    return sign(compare(text, rangeToCompare, cf::view(theString2), compareOptions));
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
    const auto found = find(text, rangeToSearch, cf::view(stringToFind), searchOptions);
    if (found && result != nullptr) *result = *found;
    return found.has_value();
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
        const CFIndex count = CFArrayGetCount(results.get());
        CFArrayAppendValue(results.get(), &found);
        // Neither for the array nor for the range in it may there have been memory.
        if (CFArrayGetCount(results.get()) == count ||
            CFArrayGetValueAtIndex(results.get(), count) == nullptr)
            return nullptr;
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
