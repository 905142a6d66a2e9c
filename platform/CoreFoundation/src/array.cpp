#include "containers.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace {

using cf::contains;
using cf::object;

const void* retain_object(CFAllocatorRef, const void* value) {
    if (value != nullptr) cf::retain(value);
    return value;
}

void release_object(CFAllocatorRef, const void* value) {
    if (value != nullptr) cf::release(value);
}

constexpr CFArrayCallBacks no_callbacks = {};

} // namespace

extern "C" {
constinit const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retain_object, release_object, CFCopyDescription,
                                                          CFEqual};
}

namespace {

constexpr CFIndex longest = std::numeric_limits<CFIndex>::max() / static_cast<CFIndex>(sizeof(void*)) / 2;

bool same_callbacks(const CFArrayCallBacks& a, const CFArrayCallBacks& b) {
    return a.retain == b.retain && a.release == b.release && a.copyDescription == b.copyDescription &&
           a.equal == b.equal;
}

bool are_constant(const CFArrayCallBacks* callbacks) {
    return callbacks == &no_callbacks || callbacks == &kCFTypeArrayCallBacks;
}

bool holds_objects(const __CFArray& array) {
    return array.callbacks == &kCFTypeArrayCallBacks;
}

const void** inline_values(__CFArray& array) {
    return reinterpret_cast<const void**>(&array + 1);
}

// Makes an empty array with room for `capacity` values behind it; null for want of memory.
__CFArray* make_array(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callbacks,
                      bool is_mutable) {
    if (capacity > longest) return nullptr;
    auto* made = cf::make<__CFArray>(allocator, cf::type::array,
                                     static_cast<std::size_t>(capacity) * sizeof(const void*));
    if (made == nullptr) return nullptr;
    made->is_mutable = is_mutable;
    made->capacity = capacity;
    made->values = inline_values(*made);
    made->callbacks = callbacks == nullptr || same_callbacks(*callbacks, no_callbacks) ? &no_callbacks
                      : same_callbacks(*callbacks, kCFTypeArrayCallBacks) ? &kCFTypeArrayCallBacks
                                                                          : nullptr;
    if (made->callbacks == nullptr) {
        auto* copy = static_cast<CFArrayCallBacks*>(cf::allocate(made->allocator, sizeof(CFArrayCallBacks)));
        if (copy == nullptr) {
            cf::free_object(*made);
            return nullptr;
        }
        *copy = *callbacks;
        made->callbacks = copy;
    }
    return made;
}

// Takes a value in: `*value` becomes what is stored. False if it is no object where one is needed.
bool take(const __CFArray& array, const void** value) {
    if (holds_objects(array)) {
        if (*value == nullptr) return false;
        cf::retain(*value);
    } else if (array.callbacks->retain != nullptr) {
        *value = array.callbacks->retain(CFGetAllocator(&array), *value);
    }
    return true;
}

void let_go(const __CFArray& array, const void* value) {
    if (array.callbacks->release != nullptr) array.callbacks->release(CFGetAllocator(&array), value);
}

bool equal_values(const __CFArray& array, const void* a, const void* b) {
    if (a == b) return true;
    return array.callbacks->equal != nullptr && array.callbacks->equal(a, b) != 0;
}

// Makes room for `count` values. False, and nothing changed, for want of memory.
bool reserve(__CFArray& array, CFIndex count) {
    if (count <= array.capacity) return true;
    if (count > longest) return false;
    const CFIndex capacity = std::max<CFIndex>({count, array.capacity + array.capacity / 2, 4});
    const std::size_t size = static_cast<std::size_t>(capacity) * sizeof(const void*);
    void* made = nullptr;
    if (array.values == inline_values(array)) {
        made = cf::allocate(array.allocator, size);
        if (made != nullptr && array.count > 0)
            std::memcpy(made, array.values, static_cast<std::size_t>(array.count) * sizeof(const void*));
    } else {
        made = cf::reallocate(array.allocator, array.values, size);
    }
    if (made == nullptr) return false;
    array.values = static_cast<const void**>(made);
    array.capacity = capacity;
    return true;
}

__CFArray* changeable(CFMutableArrayRef array) {
    return cf::is_mutable(array, cf::type::array) ? array : nullptr;
}

// Replaces the values in a range that lies within the array; the values let go are released when it is whole
// again.
void replace(__CFArray& array, CFRange range, const void* const* values, CFIndex count) {
    const CFIndex kept = array.count - range.length;
    if (count > longest - kept || !reserve(array, kept + count)) return;
    const auto added = static_cast<std::size_t>(count);
    const auto removed = static_cast<std::size_t>(range.length);
    // One value in or out, by far the commonest change, needs no list on the heap.
    const void* one_added = nullptr;
    const void* one_removed = nullptr;
    std::unique_ptr<const void*[]> many_added;
    std::unique_ptr<const void*[]> many_removed;
    if (added > 1) many_added.reset(new (std::nothrow) const void*[added]);
    if (removed > 1) many_removed.reset(new (std::nothrow) const void*[removed]);
    if ((added > 1 && !many_added) || (removed > 1 && !many_removed)) return;
    const void** const to_add = added > 1 ? many_added.get() : &one_added;
    const void** const to_remove = removed > 1 ? many_removed.get() : &one_removed;

    for (std::size_t i = 0; i < added; ++i) {
        to_add[i] = values[i];
        if (take(array, &to_add[i])) continue;
        while (i > 0)
            let_go(array, to_add[--i]);
        return;
    }
    const void** const at = array.values + range.location;
    std::copy_n(at, removed, to_remove);
    const CFIndex behind = kept - range.location;
    std::memmove(at + count, at + range.length, static_cast<std::size_t>(behind) * sizeof(const void*));
    std::copy_n(to_add, added, at);
    array.count = kept + count;
    for (std::size_t i = 0; i < removed; ++i)
        let_go(array, to_remove[i]);
}

void finalize(object& self) {
    auto& array = static_cast<__CFArray&>(self);
    for (CFIndex i = 0; i < array.count; ++i)
        let_go(array, array.values[i]);
    if (array.values != inline_values(array)) cf::deallocate(array.allocator, array.values);
    if (!are_constant(array.callbacks))
        cf::deallocate(array.allocator, const_cast<CFArrayCallBacks*>(array.callbacks));
}

cf::step next_pair(const object& a, const object& b, CFIndex& position, cf::pair& next) {
    const auto& first = static_cast<const __CFArray&>(a);
    const auto& second = static_cast<const __CFArray&>(b);
    if (first.count != second.count || first.callbacks->equal != second.callbacks->equal)
        return cf::step::differs;
    while (position < first.count) {
        const void* const x = first.values[position];
        const void* const y = second.values[position];
        ++position;
        if (x == y) continue;
        if (first.callbacks->equal == CFEqual) {
            next = {x, y};
            return cf::step::compare;
        }
        if (!equal_values(first, x, y)) return cf::step::differs;
    }
    return cf::step::finished;
}

CFHashCode hash_array(const object& self) {
    return static_cast<CFHashCode>(static_cast<const __CFArray&>(self).count);
}

CFStringRef describe(const object& self) {
    const auto& array = static_cast<const __CFArray&>(self);
    const cf::owned<CFStringRef> heading(cf::copy_heading(self, "CFArray"));
    cf::owned<CFMutableStringRef> text(CFStringCreateMutable(nullptr, 0));
    if (!heading || !text) return nullptr;
    CFStringAppendFormat(text.get(), nullptr, CFSTR("%@{type = %s, count = %lld, values = ("), heading.get(),
                         array.is_mutable ? "mutable-small" : "immutable", cf::as_long_long(array.count));
    for (CFIndex i = 0; i < array.count; ++i) {
        const void* value = array.values[i];
        const cf::owned<CFStringRef> described(
            array.callbacks->copyDescription != nullptr
                ? array.callbacks->copyDescription(value)
                : CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<%p>"), value));
        CFStringAppendFormat(text.get(), nullptr, CFSTR("\n\t%lld : %@"), cf::as_long_long(i),
                             described.get());
    }
    CFStringAppend(text.get(), array.count > 0 ? CFSTR("\n)}") : CFSTR(")}"));
    return text.detach();
}

CFArrayRef create(CFAllocatorRef allocator, const void* const* values, CFIndex count, CFIndex capacity,
                  const CFArrayCallBacks* callbacks, bool is_mutable) {
    __CFArray* made = make_array(allocator, std::max(count, capacity), callbacks, is_mutable);
    if (made == nullptr) return nullptr;
    for (; made->count < count; ++made->count) {
        const void* value = values[made->count];
        if (!take(*made, &value)) {
            cf::release(made);
            return nullptr;
        }
        made->values[made->count] = value;
    }
    return made;
}

// Merges two sorted neighbours, the second beginning at `middle`; equal values keep their order.
template <typename Before>
void merge(const void** first, const void** middle, const void** last, const void** out, Before before) {
    const void** left = first;
    const void** right = middle;
    while (left != middle && right != last)
        *out++ = before(*right, *left) ? *right++ : *left++;
    out = std::copy(left, middle, out);
    std::copy(right, last, out);
}

} // namespace

namespace cf {

constinit const type_info array_type_info = {"CFArray",  true,     finalize, nullptr,
                                             hash_array, describe, nullptr,  next_pair};

CFArrayRef create_array_adopting(CFAllocatorRef allocator, std::span<const CFTypeRef> values,
                                 bool is_mutable) {
    __CFArray* made =
        make_array(allocator, static_cast<CFIndex>(values.size()), &kCFTypeArrayCallBacks, is_mutable);
    if (made == nullptr) return nullptr;
    std::copy(values.begin(), values.end(), made->values);
    made->count = static_cast<CFIndex>(values.size());
    return made;
}

} // namespace cf

CFTypeID CFArrayGetTypeID() {
    return static_cast<CFTypeID>(cf::type::array);
}

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks) {
    if (numValues < 0 || (numValues > 0 && values == nullptr)) return nullptr;
    return create(allocator, values, numValues, 0, callBacks, false);
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef theArray) {
    if (!cf::is(theArray, cf::type::array)) return nullptr;
    return create(allocator, theArray->values, theArray->count, 0, theArray->callbacks, false);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks) {
    if (capacity < 0) return nullptr;
    // A hint of any size must not be what makes the call fail.
    return make_array(allocator, std::min<CFIndex>(capacity, 16), callBacks, true);
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef theArray) {
    if (capacity < 0 || !cf::is(theArray, cf::type::array)) return nullptr;
    return const_cast<CFMutableArrayRef>(create(allocator, theArray->values, theArray->count,
                                                std::min<CFIndex>(capacity, 16), theArray->callbacks, true));
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
    return cf::is(theArray, cf::type::array) ? theArray->count : 0;
}

CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    if (!cf::is(theArray, cf::type::array) || !contains(theArray->count, range)) return 0;
    const auto values = cf::values_of(theArray).subspan(static_cast<std::size_t>(range.location),
                                                        static_cast<std::size_t>(range.length));
    return std::count_if(values.begin(), values.end(),
                         [&](const void* other) { return equal_values(*theArray, value, other); });
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value) {
    return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
    if (!cf::is(theArray, cf::type::array) || idx < 0 || idx >= theArray->count) return nullptr;
    return theArray->values[idx];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values) {
    if (!cf::is(theArray, cf::type::array) || values == nullptr || !contains(theArray->count, range)) return;
    std::copy_n(theArray->values + range.location, range.length, values);
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void* context) {
    if (!cf::is(theArray, cf::type::array) || applier == nullptr || !contains(theArray->count, range)) return;
    for (CFIndex i = range.location; i < range.location + range.length && i < theArray->count; ++i)
        applier(theArray->values[i], context);
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    if (!cf::is(theArray, cf::type::array) || !contains(theArray->count, range)) return kCFNotFound;
    for (CFIndex i = range.location; i < range.location + range.length; ++i) {
        if (equal_values(*theArray, value, theArray->values[i])) return i;
    }
    return kCFNotFound;
}

CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    if (!cf::is(theArray, cf::type::array) || !contains(theArray->count, range)) return kCFNotFound;
    for (CFIndex i = range.location + range.length; i > range.location; --i) {
        if (equal_values(*theArray, value, theArray->values[i - 1])) return i - 1;
    }
    return kCFNotFound;
}

CFIndex CFArrayBSearchValues(CFArrayRef theArray, CFRange range, const void* value,
                             CFComparatorFunction comparator, void* context) {
    if (!cf::is(theArray, cf::type::array) || comparator == nullptr || !contains(theArray->count, range))
        return kCFNotFound;
    CFIndex low = range.location;
    CFIndex high = range.location + range.length;
    while (low < high) {
        const CFIndex middle = low + (high - low) / 2;
        const CFComparisonResult order = comparator(theArray->values[middle], value, context);
        if (order == kCFCompareEqualTo) return middle;
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
    if (__CFArray* array = changeable(theArray)) replace(*array, CFRangeMake(array->count, 0), &value, 1);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
    CFArrayReplaceValues(theArray, CFRangeMake(idx, 0), &value, 1);
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
    CFArrayReplaceValues(theArray, CFRangeMake(idx, idx == CFArrayGetCount(theArray) ? 0 : 1), &value, 1);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
    CFArrayReplaceValues(theArray, CFRangeMake(idx, 1), nullptr, 0);
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray) {
    __CFArray* array = changeable(theArray);
    if (array == nullptr) return;
    // One by one from the end: a release call-back may look at the array, or change it.
    while (array->count > 0) {
        const void* last = array->values[--array->count];
        let_go(*array, last);
    }
}

void CFArrayReplaceValues(CFMutableArrayRef theArray, CFRange range, const void** newValues,
                          CFIndex newCount) {
    __CFArray* array = changeable(theArray);
    if (array == nullptr || newCount < 0 || (newCount > 0 && newValues == nullptr) ||
        !contains(array->count, range))
        return;
    replace(*array, range, newValues, newCount);
}

void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1, CFIndex idx2) {
    __CFArray* array = changeable(theArray);
    if (array == nullptr || idx1 < 0 || idx2 < 0 || idx1 >= array->count || idx2 >= array->count) return;
    std::swap(array->values[idx1], array->values[idx2]);
}

void CFArraySortValues(CFMutableArrayRef theArray, CFRange range, CFComparatorFunction comparator,
                       void* context) {
    __CFArray* array = changeable(theArray);
    if (array == nullptr || comparator == nullptr || !contains(array->count, range)) return;
    // Sorted by hand: a comparator that contradicts itself may give any order, but must not lead out of
    // bounds.
    const auto before = [comparator, context](const void* a, const void* b) {
        return comparator(a, b, context) < 0;
    };
    const std::unique_ptr<const void*[]> spare(new (std::nothrow)
                                                   const void*[static_cast<std::size_t>(range.length)]);
    const void** from = array->values + range.location;
    if (!spare) {
        for (CFIndex i = 1; i < range.length; ++i) {
            for (CFIndex k = i; k > 0 && before(from[k], from[k - 1]); --k)
                std::swap(from[k], from[k - 1]);
        }
        return;
    }
    const void** to = spare.get();
    for (CFIndex width = 1; width < range.length; width *= 2) {
        for (CFIndex start = 0; start < range.length; start += 2 * width) {
            const CFIndex middle = std::min(start + width, range.length);
            const CFIndex end = std::min(start + 2 * width, range.length);
            merge(from + start, from + middle, from + end, to + start, before);
        }
        std::swap(from, to);
    }
    const void** const result = array->values + range.location;
    if (from != result) std::copy_n(from, range.length, result);
}

void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange) {
    __CFArray* array = changeable(theArray);
    if (array == nullptr || !cf::is(otherArray, cf::type::array) || !contains(otherArray->count, otherRange))
        return;
    // The other array may be this one: its values are found where they are once there is room for the new
    // ones.
    if (otherRange.length > longest - array->count || !reserve(*array, array->count + otherRange.length))
        return;
    replace(*array, CFRangeMake(array->count, 0), otherArray->values + otherRange.location,
            otherRange.length);
}
