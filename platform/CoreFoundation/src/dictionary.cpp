#include "containers.h"
#include "table.h"

#include <algorithm>

namespace {

using cf::entries_of;
using cf::entry;
using cf::object;
using cf::storing;
using cf::table;

cf::table_callbacks both(const CFDictionaryKeyCallBacks* key, const CFDictionaryValueCallBacks* value) {
    return {key != nullptr ? *key : CFDictionaryKeyCallBacks{},
            value != nullptr ? *value : CFDictionaryValueCallBacks{}};
}

bool is_dictionary(CFDictionaryRef dictionary) {
    return cf::is(dictionary, cf::type::dictionary);
}

__CFDictionary* changeable(CFMutableDictionaryRef dictionary) {
    return cf::is_mutable(dictionary, cf::type::dictionary) ? dictionary : nullptr;
}

cf::step next_pair(const object& a, const object& b, CFIndex& position, cf::pair& next) {
    const auto& first = static_cast<const __CFDictionary&>(a);
    const auto& second = static_cast<const __CFDictionary&>(b);
    const auto equal_callback = first.callbacks->value.equal;
    if (first.count != second.count || !cf::same_keys(first, second) ||
        equal_callback != second.callbacks->value.equal)
        return cf::step::differs;
    while (position < first.count) {
        const entry& wanted = first.entries[position++];
        const entry* found = cf::find(second, wanted.key);
        if (found == nullptr) return cf::step::differs;
        if (found->value == wanted.value) continue;
        if (equal_callback == CFEqual) {
            next = {wanted.value, found->value};
            return cf::step::compare;
        }
        if (!cf::equal_values(first, wanted.value, found->value)) return cf::step::differs;
    }
    return cf::step::finished;
}

} // namespace

namespace cf {

constinit const type_info dictionary_type_info = {"CFDictionary", true,           finalize_table, nullptr,
                                                  hash_table,     describe_table, nullptr,        next_pair};

CFDictionaryRef create_dictionary_adopting(CFAllocatorRef allocator, std::span<const CFTypeRef> keys,
                                           std::span<const CFTypeRef> values, bool is_mutable,
                                           repeated_keys rule) {
    return static_cast<CFDictionaryRef>(
        create_table_adopting(allocator, type::dictionary, keys, values, is_mutable, rule));
}

} // namespace cf

CFTypeID CFDictionaryGetTypeID() {
    return static_cast<CFTypeID>(cf::type::dictionary);
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex numValues, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
    if (numValues < 0 || (numValues > 0 && (keys == nullptr || values == nullptr))) return nullptr;
    table* made =
        cf::make_table(allocator, cf::type::dictionary, numValues, both(keyCallBacks, valueCallBacks), false);
    if (made == nullptr) return nullptr;
    for (CFIndex i = 0; i < numValues; ++i) {
        if (cf::store(*made, keys[i], values[i], storing::add_only)) continue;
        cf::release(made);
        return nullptr;
    }
    return static_cast<CFDictionaryRef>(made);
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict) {
    if (!is_dictionary(theDict)) return nullptr;
    return static_cast<CFDictionaryRef>(cf::copy_table(allocator, *theDict, 0, false));
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    if (capacity < 0) return nullptr;
    // A hint of any size must not be what makes the call fail.
    return static_cast<CFMutableDictionaryRef>(cf::make_table(allocator, cf::type::dictionary,
                                                              std::min<CFIndex>(capacity, 64),
                                                              both(keyCallBacks, valueCallBacks), true));
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef theDict) {
    if (capacity < 0 || !is_dictionary(theDict)) return nullptr;
    return static_cast<CFMutableDictionaryRef>(
        cf::copy_table(allocator, *theDict, std::min<CFIndex>(capacity, 64), true));
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
    return is_dictionary(theDict) ? theDict->count : 0;
}

CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key) {
    return CFDictionaryContainsKey(theDict, key) != 0 ? 1 : 0;
}

CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value) {
    if (!is_dictionary(theDict)) return 0;
    const auto entries = entries_of(theDict);
    return std::count_if(entries.begin(), entries.end(),
                         [&](const entry& entry) { return cf::equal_values(*theDict, value, entry.value); });
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key) {
    return is_dictionary(theDict) && cf::find(*theDict, key) != nullptr;
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value) {
    return CFDictionaryGetCountOfValue(theDict, value) > 0;
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
    const entry* found = is_dictionary(theDict) ? cf::find(*theDict, key) : nullptr;
    return found == nullptr ? nullptr : found->value;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value) {
    const entry* found = is_dictionary(theDict) ? cf::find(*theDict, key) : nullptr;
    if (found != nullptr && value != nullptr) *value = found->value;
    return found != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values) {
    if (!is_dictionary(theDict)) return;
    for (const entry& entry : entries_of(theDict)) {
        if (keys != nullptr) *keys++ = entry.key;
        if (values != nullptr) *values++ = entry.value;
    }
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void* context) {
    if (!is_dictionary(theDict) || applier == nullptr) return;
    for (CFIndex i = 0; i < theDict->count; ++i)
        applier(theDict->entries[i].key, theDict->entries[i].value, context);
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    if (__CFDictionary* changed = changeable(theDict)) cf::store(*changed, key, value, storing::add_only);
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    if (__CFDictionary* changed = changeable(theDict)) cf::store(*changed, key, value, storing::set);
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    if (__CFDictionary* changed = changeable(theDict)) cf::store(*changed, key, value, storing::replace_only);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
    if (__CFDictionary* changed = changeable(theDict)) cf::remove(*changed, key);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
    if (__CFDictionary* changed = changeable(theDict)) cf::remove_all(*changed);
}
