// Splitting and joining strings, and the numbers that stand in them.
#include "ascii.h"
#include "containers.h"
#include "decimal.h"
#include "string_storage.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <string>

namespace {

using cf::is_digit;
using cf::text_view;

// What may stand before a number.
bool is_blank(UniChar unit) {
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

CFIndex skip_blanks(text_view text) {
    CFIndex i = 0;
    while (i < text.length && is_blank(text[i]))
        ++i;
    return i;
}

} // namespace

CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef alloc, CFArrayRef theArray,
                                             CFStringRef separatorString) {
    if (!cf::is(theArray, cf::type::array)) return nullptr;
    const cf::owned<CFMutableStringRef> joined(CFStringCreateMutable(alloc, 0));
    if (!joined) return nullptr;
    CFIndex expected = 0;
    bool is_first = true;
    const auto append = [&joined, &expected](CFStringRef part) {
        expected += CFStringGetLength(part);
        CFStringAppend(joined.get(), part);
    };
    for (const void* part : cf::values_of(theArray)) {
        if (!cf::is(part, cf::type::string)) return nullptr;
        if (!is_first && cf::is(separatorString, cf::type::string)) append(separatorString);
        is_first = false;
        append(static_cast<CFStringRef>(part));
    }
    if (CFStringGetLength(joined.get()) != expected) return nullptr; // Memory ran out on the way.
    return CFStringCreateCopy(alloc, joined.get());
}

CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef alloc, CFStringRef theString,
                                                  CFStringRef separatorString) {
    if (!cf::is(theString, cf::type::string) || !cf::is(separatorString, cf::type::string) ||
        separatorString->length == 0)
        return nullptr;
    cf::owned<CFMutableArrayRef> parts(CFArrayCreateMutable(alloc, 0, &kCFTypeArrayCallBacks));
    if (!parts) return nullptr;
    CFRange rest = CFRangeMake(0, theString->length);
    for (CFIndex count = 1;; ++count) {
        CFRange found = CFRangeMake(rest.location + rest.length, 0);
        const bool is_last = !CFStringFindWithOptions(theString, separatorString, rest, 0, &found);
        const CFRange range = CFRangeMake(rest.location, found.location - rest.location);
        const cf::owned<CFStringRef> part(CFStringCreateWithSubstring(alloc, theString, range));
        if (!part) return nullptr;
        CFArrayAppendValue(parts.get(), part.get());
        if (CFArrayGetCount(parts.get()) != count) return nullptr; // Memory ran out on the way.
        if (is_last) return parts.detach();
        const CFIndex next = found.location + found.length;
        rest = CFRangeMake(next, theString->length - next);
    }
}

SInt32 CFStringGetIntValue(CFStringRef str) {
    if (!cf::is(str, cf::type::string)) return 0;
    const text_view text = cf::view(str);
    CFIndex i = skip_blanks(text);
    const bool is_negative = i < text.length && text[i] == '-';
    if (i < text.length && (text[i] == '-' || text[i] == '+')) ++i;
    constexpr std::int64_t most = std::numeric_limits<SInt32>::max();
    std::int64_t value = 0;
    for (; i < text.length && is_digit(text[i]); ++i)
        value = std::min<std::int64_t>(value * 10 + (text[i] - '0'), most + 1);
    if (is_negative) return static_cast<SInt32>(-value);
    return static_cast<SInt32>(std::min(value, most));
}

double CFStringGetDoubleValue(CFStringRef str) {
    if (!cf::is(str, cf::type::string)) return 0;
    const text_view text = cf::view(str);
    CFIndex i = skip_blanks(text);
    const auto at = [&text](CFIndex index) { return index < text.length ? text[index] : UniChar{0}; };
    try {
        std::string number;
        const auto take = [&] { number.push_back(static_cast<char>(text[i++])); };
        const auto take_digits = [&] {
            while (is_digit(at(i)))
                take();
        };
        if (at(i) == '-') {
            take();
        } else if (at(i) == '+') {
            ++i;
        }
        take_digits();
        if (at(i) == '.') take();
        take_digits();
        if (at(i) == 'e' || at(i) == 'E') {
            const CFIndex sign = at(i + 1) == '-' || at(i + 1) == '+' ? 1 : 0;
            if (is_digit(at(i + 1 + sign))) {
                take();
                if (sign != 0) take();
                take_digits();
            }
        }
        return cf::parse_decimal(number);
    } catch (const std::bad_alloc&) {
        return 0;
    }
}
