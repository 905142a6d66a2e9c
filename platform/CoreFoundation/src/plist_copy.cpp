#include "plist_copy.h"

#include "number_storage.h"
#include "plist_walk.h"

#include <CoreFoundation/CFDate.h>

namespace cf::plist {

namespace {

/// A container that a walk is inside of.
struct frame {
    CFTypeRef container;
    std::size_t next = 0;
};

/// The next value of the container, and its key if it is a dictionary.
struct member {
    CFTypeRef key = nullptr;
    CFTypeRef value = nullptr;
    bool counted = false;
};

bool is_container(CFTypeRef value) {
    return is(value, type::array) || is(value, type::dictionary);
}

bool next_member(frame& top, member& found) {
    if (type_of(top.container) == type::array) {
        const auto* array = static_cast<CFArrayRef>(top.container);
        const auto values = values_of(array);
        if (top.next == values.size()) return false;
        found = {nullptr, values[top.next++], counts_values(array)};
        return true;
    }
    const auto* dictionary = static_cast<CFDictionaryRef>(top.container);
    const auto entries = entries_of(dictionary);
    if (top.next == entries.size()) return false;
    const entry& each = entries[top.next++];
    found = {each.key, each.value, counts_values(dictionary)};
    return true;
}

bool is_leaf(CFTypeRef value, CFPropertyListFormat format) {
    switch (type_of(value)) {
    case type::string:
    case type::data:
        return true;
    case type::number:
    case type::boolean:
    case type::date:
    case type::archiver_uid:
        return format != kCFPropertyListOpenStepFormat;
    default:
        return false;
    }
}

/// Copies a value without recursion: finished parts lie on a stack of our own.
class copier {
public:
    copier(CFAllocatorRef allocator, mutability mutable_parts)
        : allocator_(allocator), mutable_(mutable_parts) {}

    CFTypeRef copy(CFTypeRef root);

private:
    struct open_container {
        frame source;
        std::size_t first_value;
        std::size_t first_key;
    };
    using reference = owned<CFTypeRef>;

    bool open(CFTypeRef container, bool counted);
    reference copy_leaf(CFTypeRef leaf) const;
    reference copy_number(CFNumberRef number) const;
    reference copy_string(CFStringRef string) const;
    reference close();

    CFAllocatorRef allocator_;
    mutability mutable_;
    walk_guard guard_;
    std::vector<open_container> open_;
    reference_stack values_;
    reference_stack keys_;
};

bool copier::open(CFTypeRef container, bool counted) {
    if (!guard_.enter(container, counted)) return false;
    open_.push_back({{container}, values_.size(), keys_.size()});
    return true;
}

CFTypeRef copier::copy(CFTypeRef root) {
    if (root == nullptr) return nullptr;
    if (!is_container(root)) return copy_leaf(root).detach();
    if (!open(root, false)) return nullptr;
    for (;;) {
        member next;
        if (!next_member(open_.back().source, next)) {
            reference closed = close();
            if (open_.empty()) return closed.detach();
            values_.push(closed.detach());
            continue;
        }
        if (next.value == nullptr) return nullptr;
        if (type_of(open_.back().source.container) == type::dictionary) {
            if (!is(next.key, type::string)) return nullptr;
            keys_.push(copy_string(static_cast<CFStringRef>(next.key)).detach());
        }
        if (is_container(next.value)) {
            if (!open(next.value, next.counted)) return nullptr;
            continue;
        }
        reference leaf = copy_leaf(next.value);
        if (!leaf) return nullptr;
        values_.push(leaf.detach());
    }
}

copier::reference copier::copy_leaf(CFTypeRef leaf) const {
    switch (type_of(leaf)) {
    case type::string:
        return copy_string(static_cast<CFStringRef>(leaf));
    case type::number:
        return copy_number(static_cast<CFNumberRef>(leaf));
    case type::boolean:
        return reference::retained(leaf);
    case type::date:
        return reference(need(CFDateCreate(allocator_, CFDateGetAbsoluteTime(static_cast<CFDateRef>(leaf)))));
    case type::data: {
        const auto* data = static_cast<CFDataRef>(leaf);
        if (!mutable_.leaves) return reference(need(CFDataCreateCopy(allocator_, data)));
        return reference(need(CFDataCreateMutableCopy(allocator_, 0, data)));
    }
    default:
        return {};
    }
}

copier::reference copier::copy_number(CFNumberRef number) const {
    switch (stored_type(number)) {
    case number_int128:
        return reference(need(create_int128(allocator_, integer_value(number))));
    case kCFNumberFloat32Type:
        return reference(need(create_float(allocator_, static_cast<float>(number->real))));
    case kCFNumberFloat64Type:
        return reference(need(create_double(allocator_, number->real)));
    default:
        return reference(need(
            create_integer(allocator_, number->integer, static_cast<CFNumberType>(stored_type(number)))));
    }
}

copier::reference copier::copy_string(CFStringRef string) const {
    if (mutable_.leaves) return reference(need(CFStringCreateMutableCopy(allocator_, 0, string)));
    return reference(need(CFStringCreateCopy(allocator_, string)));
}

copier::reference copier::close() {
    const open_container closed = open_.back();
    const auto values = values_.since(closed.first_value);
    const auto keys = keys_.since(closed.first_key);
    reference copy;
    if (type_of(closed.source.container) == type::array) {
        copy = reference(need(create_array_adopting(allocator_, values, mutable_.containers)));
    } else {
        copy = reference(need(create_dictionary_adopting(allocator_, keys, values, mutable_.containers,
                                                         repeated_keys::first_wins)));
    }
    values_.forget(closed.first_value);
    keys_.forget(closed.first_key);
    open_.pop_back();
    guard_.leave();
    return copy;
}

} // namespace

std::string refusal(CFTypeRef value, CFPropertyListFormat format) {
    if (value == nullptr) return refusal_of_value(value);
    if (!is_container(value)) return is_leaf(value, format) ? std::string() : refusal_of_value(value);
    walk_guard guard;
    std::vector<frame> open;
    if (!guard.enter(value, false)) return guard.problem();
    open.push_back({value});
    while (!open.empty()) {
        member next;
        if (!next_member(open.back(), next)) {
            open.pop_back();
            guard.leave();
            continue;
        }
        if (type_of(open.back().container) == type::dictionary && !is(next.key, type::string))
            return refusal_of_key(next.key);
        if (next.value != nullptr && is_container(next.value)) {
            if (!guard.enter(next.value, next.counted)) return guard.problem();
            open.push_back({next.value});
        } else if (next.value == nullptr || !is_leaf(next.value, format)) {
            return refusal_of_value(next.value);
        }
    }
    return {};
}

CFTypeRef deep_copy(CFAllocatorRef allocator, CFTypeRef value, mutability mutable_parts) {
    return copier(allocator, mutable_parts).copy(value);
}

} // namespace cf::plist
