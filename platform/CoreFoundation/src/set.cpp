#include "containers.h"
#include "table.h"

#include <algorithm>

namespace {

using cf::entries_of;
using cf::entry;
using cf::object;
using cf::storing;
using cf::table;

// A set is a table of keys whose values are all null.
cf::table_callbacks keys_only(const CFSetCallBacks* callbacks) {
    if (callbacks == nullptr) return {};
    return {{callbacks->version, callbacks->retain, callbacks->release, callbacks->copyDescription,
             callbacks->equal, callbacks->hash},
            {}};
}

bool is_set(CFSetRef set) {
    return cf::is(set, cf::type::set);
}

__CFSet* changeable(CFMutableSetRef set) {
    return cf::is_mutable(set, cf::type::set) ? set : nullptr;
}

bool equal_sets(const object& a, const object& b) {
    const auto& first = static_cast<const __CFSet&>(a);
    const auto& second = static_cast<const __CFSet&>(b);
    if (first.count != second.count || !cf::same_keys(first, second)) return false;
    const auto entries = entries_of(&first);
    return std::all_of(entries.begin(), entries.end(),
                       [&second](const entry& entry) { return cf::find(second, entry.key) != nullptr; });
}

} // namespace

namespace cf {

constinit const type_info set_type_info = {"CFSet",    true,       finalize_table,
                                           equal_sets, hash_table, describe_table};

CFSetRef create_set_adopting(CFAllocatorRef allocator, std::span<const CFTypeRef> values, bool is_mutable) {
    return static_cast<CFSetRef>(
        create_table_adopting(allocator, type::set, values, {}, is_mutable, repeated_keys::first_wins));
}

} // namespace cf

CFTypeID CFSetGetTypeID() {
    return static_cast<CFTypeID>(cf::type::set);
}

CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                     const CFSetCallBacks* callBacks) {
    if (numValues < 0 || (numValues > 0 && values == nullptr)) return nullptr;
    table* made = cf::make_table(allocator, cf::type::set, numValues, keys_only(callBacks), false);
    if (made == nullptr) return nullptr;
    for (CFIndex i = 0; i < numValues; ++i) {
        if (cf::store(*made, values[i], nullptr, storing::add_only)) continue;
        cf::release(made);
        return nullptr;
    }
    return static_cast<CFSetRef>(made);
}

CFSetRef CFSetCreateCopy(CFAllocatorRef allocator, CFSetRef theSet) {
    return is_set(theSet) ? static_cast<CFSetRef>(cf::copy_table(allocator, *theSet, 0, false)) : nullptr;
}

CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                   const CFSetCallBacks* callBacks) {
    if (capacity < 0) return nullptr;
    // A hint of any size must not be what makes the call fail.
    return static_cast<CFMutableSetRef>(cf::make_table(
        allocator, cf::type::set, std::min<CFIndex>(capacity, 64), keys_only(callBacks), true));
}

CFMutableSetRef CFSetCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef theSet) {
    if (capacity < 0 || !is_set(theSet)) return nullptr;
    return static_cast<CFMutableSetRef>(
        cf::copy_table(allocator, *theSet, std::min<CFIndex>(capacity, 64), true));
}

CFIndex CFSetGetCount(CFSetRef theSet) {
    return is_set(theSet) ? theSet->count : 0;
}

CFIndex CFSetGetCountOfValue(CFSetRef theSet, const void* value) {
    return CFSetContainsValue(theSet, value) != 0 ? 1 : 0;
}

Boolean CFSetContainsValue(CFSetRef theSet, const void* value) {
    return is_set(theSet) && cf::find(*theSet, value) != nullptr;
}

const void* CFSetGetValue(CFSetRef theSet, const void* value) {
    const entry* found = is_set(theSet) ? cf::find(*theSet, value) : nullptr;
    return found == nullptr ? nullptr : found->key;
}

Boolean CFSetGetValueIfPresent(CFSetRef theSet, const void* candidate, const void** value) {
    const entry* found = is_set(theSet) ? cf::find(*theSet, candidate) : nullptr;
    if (found != nullptr && value != nullptr) *value = found->key;
    return found != nullptr;
}

void CFSetGetValues(CFSetRef theSet, const void** values) {
    if (!is_set(theSet) || values == nullptr) return;
    for (const entry& entry : entries_of(theSet))
        *values++ = entry.key;
}

void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context) {
    if (!is_set(theSet) || applier == nullptr) return;
    for (CFIndex i = 0; i < theSet->count; ++i)
        applier(theSet->entries[i].key, context);
}

void CFSetAddValue(CFMutableSetRef theSet, const void* value) {
    if (__CFSet* changed = changeable(theSet)) cf::store(*changed, value, nullptr, storing::add_only);
}

void CFSetReplaceValue(CFMutableSetRef theSet, const void* value) {
    // The value is its own key, so that what replaces it must be stored whole.
    if (CFSetContainsValue(theSet, value) != 0) CFSetSetValue(theSet, value);
}

void CFSetSetValue(CFMutableSetRef theSet, const void* value) {
    if (__CFSet* changed = changeable(theSet)) cf::store(*changed, value, nullptr, storing::set);
}

void CFSetRemoveValue(CFMutableSetRef theSet, const void* value) {
    if (__CFSet* changed = changeable(theSet)) cf::remove(*changed, value);
}

void CFSetRemoveAllValues(CFMutableSetRef theSet) {
    if (__CFSet* changed = changeable(theSet)) cf::remove_all(*changed);
}
