// Mutable strings: their storage, and the changes that can be made to them.
#include "encodings.h"
#include "string_fold.h"
#include "string_storage.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace {

using cf::external_string;
using cf::text_view;

constexpr CFIndex longest = std::numeric_limits<CFIndex>::max() / 8;

// The mutable string behind a public reference; null if it is none.
external_string* changeable(CFMutableStringRef string) {
    return cf::is_mutable(string, cf::type::string) ? static_cast<external_string*>(string) : nullptr;
}

bool is_wide(const external_string& string) {
    return (string.detail & cf::string_is_wide) != 0;
}

template <typename Unit>
Unit* block(const external_string& string) {
    return static_cast<Unit*>(const_cast<void*>(string.units));
}

// Whether a text needs units wider than ASCII.
bool needs_wide(text_view text) {
    if (!text.wide) return false;
    const auto units = text.utf16();
    return std::any_of(units.begin(), units.end(), [](UniChar unit) { return unit >= 0x80; });
}

void copy_units(text_view from, CFIndex count, bool wide, void* to) {
    if (wide) {
        auto* out = static_cast<UniChar*>(to);
        for (CFIndex i = 0; i < count; ++i)
            out[i] = from[i];
    } else {
        auto* out = static_cast<char*>(to);
        for (CFIndex i = 0; i < count; ++i)
            out[i] = static_cast<char>(from[i]);
    }
}

// Makes room for `length` units, wide ones if asked for. False, and nothing changed, for want of memory.
bool reserve(external_string& string, CFIndex length, bool wide) {
    wide = wide || is_wide(string);
    if (length <= string.capacity && wide == is_wide(string) && string.units != nullptr) return true;
    if (length > longest) return false;
    CFIndex capacity = std::max<CFIndex>(length, 15);
    if (string.units != nullptr && length > string.capacity)
        capacity = std::max(capacity, string.capacity + string.capacity / 2);
    const std::size_t size = (static_cast<std::size_t>(capacity) + 1) * (wide ? sizeof(UniChar) : 1);
    void* made = cf::allocate(string.units_allocator, size);
    if (made == nullptr) return false;
    if (string.units != nullptr) copy_units(cf::view(&string), string.length, wide, made);
    cf::deallocate(string.units_allocator, const_cast<void*>(string.units));
    string.units = made;
    string.capacity = capacity;
    if (wide) string.detail |= cf::string_is_wide;
    return true;
}

void terminate(external_string& string) {
    if (is_wide(string))
        block<UniChar>(string)[string.length] = 0;
    else
        block<char>(string)[string.length] = 0;
}

// Replaces the units in `range`, which lies within the string. False, and nothing changed, for want of
// memory.
bool replace(external_string& string, CFRange range, text_view replacement) {
    cf::owned<CFStringRef> copy;
    if (replacement.units == string.units && replacement.length > 0) {
        // The text is put into itself.
        copy = cf::owned(CFStringCreateWithSubstring(nullptr, &string, CFRangeMake(0, replacement.length)));
        if (!copy) return false;
        replacement = cf::view(copy.get());
    }
    const CFIndex kept = string.length - range.length;
    if (replacement.length > longest - kept) return false;
    const CFIndex length = kept + replacement.length;
    if (!reserve(string, length, needs_wide(replacement))) return false;
    const std::size_t width = is_wide(string) ? sizeof(UniChar) : 1;
    char* const at = block<char>(string) + width * static_cast<std::size_t>(range.location);
    const CFIndex behind = kept - range.location;
    std::memmove(at + width * static_cast<std::size_t>(replacement.length),
                 at + width * static_cast<std::size_t>(range.length),
                 width * static_cast<std::size_t>(behind));
    copy_units(replacement, replacement.length, is_wide(string), at);
    string.length = length;
    terminate(string);
    return true;
}

CFRange all(const external_string& string) {
    return CFRangeMake(0, string.length);
}

bool is_white_space(UniChar unit) {
    return (unit >= 0x09 && unit <= 0x0D) || unit == 0x20 || unit == 0x85 || unit == 0xA0 || unit == 0x1680 ||
           (unit >= 0x2000 && unit <= 0x200B) || unit == 0x2028 || unit == 0x2029 || unit == 0x202F ||
           unit == 0x205F || unit == 0x3000;
}

// Keeps only the units in `range`.
void keep(external_string& string, CFRange range) {
    const CFIndex end = range.location + range.length;
    replace(string, CFRangeMake(end, string.length - end), {"", 0, false});
    replace(string, CFRangeMake(0, range.location), {"", 0, false});
}

void replace_all(external_string& string, const std::vector<UniChar>& units) {
    replace(string, all(string), {units.data(), static_cast<CFIndex>(units.size()), true});
}

void map_characters(CFMutableStringRef string, cf::mapped (*map)(UniChar)) {
    external_string* changed = changeable(string);
    if (changed == nullptr) return;
    const text_view text = cf::view(changed);
    try {
        std::vector<UniChar> units;
        units.reserve(static_cast<std::size_t>(text.length));
        for (CFIndex i = 0; i < text.length; ++i) {
            const cf::mapped to = map(text[i]);
            units.insert(units.end(), to.units.begin(),
                         to.units.begin() + static_cast<std::ptrdiff_t>(to.count));
        }
        replace_all(*changed, units);
    } catch (const std::bad_alloc&) {
        return; // As for want of memory anywhere: the text stays as it was.
    }
}

} // namespace

namespace cf {

CFMutableStringRef create_mutable_string(CFAllocatorRef allocator, text_view text) {
    auto* made = make<external_string>(allocator, type::string);
    if (made == nullptr) return nullptr;
    made->is_mutable = true;
    made->detail = string_is_external;
    made->units_allocator = made->allocator;
    if (made->units_allocator != nullptr) retain(made->units_allocator);
    if (!replace(*made, CFRangeMake(0, 0), text)) {
        release(made);
        return nullptr;
    }
    return made;
}

} // namespace cf

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength) {
    return maxLength < 0 ? nullptr : cf::create_mutable_string(alloc, {"", 0, false});
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength, CFStringRef theString) {
    if (maxLength < 0 || !cf::is(theString, cf::type::string)) return nullptr;
    return cf::create_mutable_string(alloc, cf::view(theString));
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
    CFStringInsert(theString, CFStringGetLength(theString), appendedString);
}

void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars) {
    external_string* changed = changeable(theString);
    if (changed == nullptr || chars == nullptr || numChars <= 0) return;
    replace(*changed, CFRangeMake(changed->length, 0), {chars, numChars, true});
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding) {
    const cf::owned<CFStringRef> appended(CFStringCreateWithCString(nullptr, cStr, encoding));
    CFStringAppend(theString, appended.get());
}

void CFStringAppendPascalString(CFMutableStringRef theString, const unsigned char* pStr,
                                CFStringEncoding encoding) {
    const cf::owned<CFStringRef> appended(CFStringCreateWithPascalString(nullptr, pStr, encoding));
    CFStringAppend(theString, appended.get());
}

void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr) {
    CFStringReplace(str, CFRangeMake(idx, 0), insertedStr);
}

void CFStringDelete(CFMutableStringRef theString, CFRange range) {
    external_string* changed = changeable(theString);
    if (changed == nullptr || !cf::contains(changed->length, range)) return;
    replace(*changed, range, {"", 0, false});
}

void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement) {
    external_string* changed = changeable(theString);
    if (changed == nullptr || !cf::contains(changed->length, range) || !cf::is(replacement, cf::type::string))
        return;
    replace(*changed, range, cf::view(replacement));
}

void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement) {
    CFStringReplace(theString, CFRangeMake(0, CFStringGetLength(theString)), replacement);
}

CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind,
                               CFStringRef replacementString, CFRange rangeToSearch,
                               CFStringCompareFlags compareOptions) {
    external_string* changed = changeable(theString);
    if (changed == nullptr || !cf::is(replacementString, cf::type::string)) return 0;
    // Each part may be the very string that changes.
    const cf::owned<CFStringRef> wanted(CFStringCreateCopy(nullptr, stringToFind));
    const cf::owned<CFStringRef> replacement(CFStringCreateCopy(nullptr, replacementString));
    if (!wanted || !replacement) return 0;
    const bool once = (compareOptions & kCFCompareAnchored) != 0;
    CFIndex count = 0;
    CFRange found;
    while (CFStringFindWithOptions(changed, wanted.get(), rangeToSearch, compareOptions, &found)) {
        if (!replace(*changed, found, cf::view(replacement.get()))) break;
        ++count;
        if (once) break;
        const CFIndex end = rangeToSearch.location + rangeToSearch.length;
        if ((compareOptions & kCFCompareBackwards) != 0) {
            rangeToSearch.length = found.location - rangeToSearch.location;
        } else {
            rangeToSearch =
                CFRangeMake(found.location + replacement.get()->length, end - found.location - found.length);
        }
    }
    return count;
}

void CFStringPad(CFMutableStringRef theString, CFStringRef padString, CFIndex length, CFIndex indexIntoPad) {
    external_string* changed = changeable(theString);
    if (changed == nullptr || length < 0) return;
    if (length <= changed->length) return keep(*changed, CFRangeMake(0, length));
    if (!cf::is(padString, cf::type::string) || indexIntoPad < 0 || indexIntoPad >= padString->length) return;
    try {
        const text_view pad = cf::view(padString);
        std::vector<UniChar> units(static_cast<std::size_t>(length - changed->length));
        for (std::size_t i = 0; i < units.size(); ++i)
            units[i] = pad[(indexIntoPad + static_cast<CFIndex>(i)) % pad.length];
        CFStringAppendCharacters(theString, units.data(), static_cast<CFIndex>(units.size()));
    } catch (const std::exception&) {
        return; // So much text does not fit in memory: it stays as it was.
    }
}

void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString) {
    external_string* changed = changeable(theString);
    if (changed == nullptr || !cf::is(trimString, cf::type::string) || trimString->length == 0) return;
    CFRange kept = all(*changed);
    CFRange found;
    while (CFStringFindWithOptions(theString, trimString, kept, kCFCompareAnchored, &found))
        kept = CFRangeMake(kept.location + found.length, kept.length - found.length);
    while (CFStringFindWithOptions(theString, trimString, kept, kCFCompareAnchored | kCFCompareBackwards,
                                   &found))
        kept.length -= found.length;
    keep(*changed, kept);
}

void CFStringTrimWhitespace(CFMutableStringRef theString) {
    external_string* changed = changeable(theString);
    if (changed == nullptr) return;
    const text_view text = cf::view(changed);
    CFIndex start = 0;
    CFIndex end = text.length;
    while (start < end && is_white_space(text[start]))
        ++start;
    while (end > start && is_white_space(text[end - 1]))
        --end;
    keep(*changed, CFRangeMake(start, end - start));
}

void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef) {
    map_characters(theString, cf::to_lower);
}

void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef) {
    map_characters(theString, cf::to_upper);
}

void CFStringFold(CFMutableStringRef theString, CFStringCompareFlags theFlags, CFLocaleRef) {
    external_string* changed = changeable(theString);
    if (changed == nullptr || !cf::folds(theFlags)) return;
    try {
        std::vector<UniChar> units;
        for (cf::fold_reader piece(cf::view(changed), all(*changed), theFlags); !piece.at_end();
             piece.advance()) {
            const char32_t character = *piece;
            if (character > 0xFFFF) {
                units.push_back(static_cast<UniChar>(0xD7C0U + (character >> 10U)));
                units.push_back(static_cast<UniChar>(0xDC00U + (character & 0x3FFU)));
            } else {
                units.push_back(static_cast<UniChar>(character));
            }
        }
        replace_all(*changed, units);
    } catch (const std::bad_alloc&) {
        return; // As for want of memory anywhere: the text stays as it was.
    }
}
