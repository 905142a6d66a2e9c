#include "table.h"

#include "comparison_limit.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <bit>
#include <limits>

namespace cf {

namespace {

const void* retain_object(CFAllocatorRef, const void* value) {
    if (value != nullptr) retain(value);
    return value;
}

// A string that cannot change any more; anything else is only retained.
const void* copy_string(CFAllocatorRef allocator, const void* value) {
    if (is(value, type::string)) return CFStringCreateCopy(allocator, static_cast<CFStringRef>(value));
    return retain_object(allocator, value);
}

void release_object(CFAllocatorRef, const void* value) {
    if (value != nullptr) release(value);
}

} // namespace

} // namespace cf

extern "C" {
constinit const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, cf::retain_object, cf::release_object, CFCopyDescription, CFEqual, CFHash};
constinit const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0, cf::copy_string, cf::release_object, CFCopyDescription, CFEqual, CFHash};
constinit const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, cf::retain_object, cf::release_object, CFCopyDescription, CFEqual};
constinit const CFSetCallBacks kCFTypeSetCallBacks = {
    0, cf::retain_object, cf::release_object, CFCopyDescription, CFEqual, CFHash};
constinit const CFSetCallBacks kCFCopyStringSetCallBacks = {
    0, cf::copy_string, cf::release_object, CFCopyDescription, CFEqual, CFHash};
}

namespace cf {

namespace {

constexpr table_callbacks object_callbacks = {
    {0, retain_object, release_object, CFCopyDescription, CFEqual, CFHash},
    {0, retain_object, release_object, CFCopyDescription, CFEqual}};
constexpr table_callbacks copied_string_callbacks = {
    {0, copy_string, release_object, CFCopyDescription, CFEqual, CFHash},
    {0, retain_object, release_object, CFCopyDescription, CFEqual}};
constexpr table_callbacks pointer_callbacks = {};
constexpr table_callbacks object_set_callbacks = {object_callbacks.key, {}};
constexpr table_callbacks copied_string_set_callbacks = {copied_string_callbacks.key, {}};

// Up to here looking at every entry is quicker than an index.
constexpr CFIndex largest_unindexed = 8;
// What the numbers in the index can count.
constexpr CFIndex longest = std::numeric_limits<std::int32_t>::max();

bool same_callbacks(const table_callbacks& a, const table_callbacks& b) {
    return a.key.retain == b.key.retain && a.key.release == b.key.release &&
           a.key.copyDescription == b.key.copyDescription && a.key.equal == b.key.equal &&
           a.key.hash == b.key.hash && a.value.retain == b.value.retain &&
           a.value.release == b.value.release && a.value.copyDescription == b.value.copyDescription &&
           a.value.equal == b.value.equal;
}

const table_callbacks* as_constant(const table_callbacks& callbacks) {
    for (const table_callbacks* known : {&object_callbacks, &copied_string_callbacks, &pointer_callbacks,
                                         &object_set_callbacks, &copied_string_set_callbacks}) {
        if (same_callbacks(callbacks, *known)) return known;
    }
    return nullptr;
}

// Spreads a hash over all bits, with the secret of this process: hashes of numbers and pointers come in rows.
CFHashCode spread(CFHashCode hash) {
    std::uint64_t value = hash ^ hash_seed();
    value *= 0x9E3779B97F4A7C15U;
    value ^= value >> 32U;
    value *= 0xD6E8FEB86659FD93U;
    return value ^ (value >> 29U);
}

CFHashCode hash_key(const table& self, const void* key) {
    const CFDictionaryKeyCallBacks& callbacks = self.callbacks->key;
    if (callbacks.hash == CFHash) return spread(key == nullptr ? 0 : hash(key));
    if (callbacks.hash != nullptr) return spread(callbacks.hash(key));
    // Equal keys must have equal hashes, and of keys compared by a call-back without a hash nothing else is
    // known.
    return callbacks.equal == nullptr ? spread(reinterpret_cast<std::uintptr_t>(key)) : 0;
}

bool equal_keys(const table& self, const void* a, const void* b) {
    if (a == b) return true;
    const CFDictionaryKeyCallBacks& callbacks = self.callbacks->key;
    if (callbacks.equal == CFEqual) return a != nullptr && b != nullptr && equal(a, b);
    return callbacks.equal != nullptr && callbacks.equal(a, b) != 0;
}

// The slot that holds `number`, which is in the index.
std::uint64_t slot_of(const table& self, std::uint32_t number, CFHashCode hash) {
    std::uint64_t slot = hash & self.index_mask;
    while (self.index[slot] != number)
        slot = (slot + 1) & self.index_mask;
    return slot;
}

void add_to_index(table& self, CFIndex which) {
    std::uint64_t slot = self.entries[which].hash & self.index_mask;
    while (self.index[slot] != 0)
        slot = (slot + 1) & self.index_mask;
    self.index[slot] = static_cast<std::uint32_t>(which + 1);
}

// Empties a slot and closes the gap: entries that had to move past it move back.
void empty_slot(table& self, std::uint64_t gap) {
    for (std::uint64_t slot = (gap + 1) & self.index_mask; self.index[slot] != 0;
         slot = (slot + 1) & self.index_mask) {
        const std::uint64_t home = self.entries[self.index[slot] - 1].hash & self.index_mask;
        if (((slot - home) & self.index_mask) < ((slot - gap) & self.index_mask)) continue;
        self.index[gap] = self.index[slot];
        gap = slot;
    }
    self.index[gap] = 0;
}

entry* find_hashed(const table& self, const void* key, CFHashCode hash) {
    if (self.index == nullptr) {
        for (CFIndex i = 0; i < self.count; ++i) {
            entry& candidate = self.entries[i];
            if (candidate.hash == hash && equal_keys(self, candidate.key, key)) return &candidate;
        }
        return nullptr;
    }
    for (std::uint64_t slot = hash & self.index_mask; self.index[slot] != 0;
         slot = (slot + 1) & self.index_mask) {
        entry& candidate = self.entries[self.index[slot] - 1];
        if (candidate.hash == hash && equal_keys(self, candidate.key, key)) return &candidate;
    }
    return nullptr;
}

// The room for entries that a table was made with lies behind it.
entry* entries_behind(table& self) {
    return reinterpret_cast<entry*>(&self + 1);
}

void free_entries(table& self, entry* entries) {
    if (entries != entries_behind(self)) deallocate(self.allocator, entries);
}

// Makes an index for `capacity` entries, of which those there are are entered. False, and nothing changed,
// for want of memory.
bool make_index(table& self, CFIndex capacity) {
    if (capacity <= largest_unindexed) return true;
    const std::uint64_t slots = std::bit_ceil(static_cast<std::uint64_t>(capacity) * 3 / 2 + 1);
    auto* index = static_cast<std::uint32_t*>(allocate(self.allocator, slots * sizeof(std::uint32_t)));
    if (index == nullptr) return false;
    std::fill_n(index, slots, 0U);
    deallocate(self.allocator, self.index);
    self.index = index;
    self.index_mask = slots - 1;
    for (CFIndex i = 0; i < self.count; ++i)
        add_to_index(self, i);
    return true;
}

// Makes room for `count` entries. False, and no entry changed, for want of memory.
bool reserve(table& self, CFIndex count) {
    if (count <= self.capacity) return true;
    if (count > longest) return false;
    CFIndex capacity = count;
    if (self.capacity > 0) capacity = std::min(longest, std::max<CFIndex>({count, self.capacity * 2, 4}));
    const std::size_t size = static_cast<std::size_t>(capacity) * sizeof(entry);
    const bool behind = self.entries == entries_behind(self);
    void* entries = behind ? allocate(self.allocator, size) : reallocate(self.allocator, self.entries, size);
    if (entries == nullptr) return false;
    if (behind) std::copy_n(self.entries, self.count, static_cast<entry*>(entries));
    self.entries = static_cast<entry*>(entries);
    if (!make_index(self, capacity)) return false;
    self.capacity = capacity;
    return true;
}

// Adds an entry that is not there yet; there is room for it.
void append(table& self, const entry& added) {
    self.entries[self.count] = added;
    if (self.index != nullptr) add_to_index(self, self.count);
    ++self.count;
}

using retain_callback = const void* (*)(CFAllocatorRef, const void*);

// Takes a key or value in: `*value` becomes what is stored. False if an object is needed and there is none.
bool take(const table& self, retain_callback callback, const void** value) {
    if (callback == nullptr) return true;
    const bool is_object = callback == retain_object || callback == copy_string;
    if (is_object && *value == nullptr) return false;
    *value = callback(CFGetAllocator(&self), *value);
    return !is_object || *value != nullptr;
}

void let_go_of_key(const table& self, const void* key) {
    if (self.callbacks->key.release != nullptr) self.callbacks->key.release(CFGetAllocator(&self), key);
}

void let_go_of_value(const table& self, const void* value) {
    if (self.callbacks->value.release != nullptr) self.callbacks->value.release(CFGetAllocator(&self), value);
}

CFStringRef describe_with(CFStringRef (*callback)(const void*), const void* value) {
    if (callback != nullptr) return callback(value);
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<%p>"), value);
}

} // namespace

table* make_table(CFAllocatorRef allocator, type kind, CFIndex capacity, const table_callbacks& callbacks,
                  bool is_mutable) {
    if (capacity > longest) return nullptr;
    table* made = make<table>(allocator, kind, static_cast<std::size_t>(capacity) * sizeof(entry));
    if (made == nullptr) return nullptr;
    made->is_mutable = is_mutable;
    made->callbacks = as_constant(callbacks);
    if (made->callbacks == nullptr) {
        auto* copy = static_cast<table_callbacks*>(allocate(made->allocator, sizeof(table_callbacks)));
        if (copy == nullptr) {
            free_object(*made);
            return nullptr;
        }
        *copy = callbacks;
        made->callbacks = copy;
    }
    if (capacity > 0) made->entries = entries_behind(*made);
    made->capacity = capacity;
    if (!make_index(*made, capacity)) {
        release(made);
        return nullptr;
    }
    return made;
}

table* copy_table(CFAllocatorRef allocator, const table& original, CFIndex capacity, bool is_mutable) {
    table* made = make_table(allocator, original.kind, std::max(capacity, original.count),
                             *original.callbacks, is_mutable);
    if (made == nullptr) return nullptr;
    for (const entry& copied : entries_of(&original)) {
        entry added = copied;
        if (!take(*made, made->callbacks->key.retain, &added.key)) {
            release(made);
            return nullptr;
        }
        if (!take(*made, made->callbacks->value.retain, &added.value)) {
            let_go_of_key(*made, added.key);
            release(made);
            return nullptr;
        }
        append(*made, added);
    }
    return made;
}

entry* find(const table& self, const void* key) {
    return self.count == 0 ? nullptr : find_hashed(self, key, hash_key(self, key));
}

bool store(table& self, const void* key, const void* value, storing rule) {
    const bool needs_object =
        self.callbacks->key.retain == retain_object || self.callbacks->key.retain == copy_string;
    if (needs_object && key == nullptr) return false;
    const CFHashCode hash = hash_key(self, key);
    const entry* found = find_hashed(self, key, hash);
    if ((found != nullptr && rule == storing::add_only) ||
        (found == nullptr && rule == storing::replace_only))
        return true;
    if (found == nullptr && !reserve(self, self.count + 1)) return false;
    const bool stores_key = rule != storing::replace_only;
    if (stores_key && !take(self, self.callbacks->key.retain, &key)) return false;
    if (!take(self, self.callbacks->value.retain, &value)) {
        if (stores_key) let_go_of_key(self, key);
        return false;
    }
    if (found == nullptr) {
        append(self, {key, value, hash});
        return true;
    }
    entry& replaced = self.entries[found - self.entries];
    const entry old = replaced;
    replaced.value = value;
    if (stores_key) replaced.key = key;
    let_go_of_value(self, old.value);
    if (stores_key) let_go_of_key(self, old.key);
    return true;
}

void remove(table& self, const void* key) {
    const entry* found = find(self, key);
    if (found == nullptr) return;
    const CFIndex which = found - self.entries;
    const CFIndex last = self.count - 1;
    const entry removed = *found;
    if (self.index != nullptr) {
        empty_slot(self, slot_of(self, static_cast<std::uint32_t>(which + 1), removed.hash));
        if (which != last) {
            const std::uint64_t slot =
                slot_of(self, static_cast<std::uint32_t>(last + 1), self.entries[last].hash);
            self.index[slot] = static_cast<std::uint32_t>(which + 1);
        }
    }
    self.entries[which] = self.entries[last];
    self.count = last;
    let_go_of_value(self, removed.value);
    let_go_of_key(self, removed.key);
}

void remove_all(table& self) {
    if (self.index != nullptr) std::fill_n(self.index, self.index_mask + 1, 0U);
    // The entries are out of the table before the first call-back can look at it.
    entry* const entries = self.entries;
    std::uint32_t* const index = self.index;
    const CFIndex count = self.count;
    const CFIndex capacity = self.capacity;
    self.entries = nullptr;
    self.index = nullptr;
    self.count = 0;
    self.capacity = 0;
    for (CFIndex i = 0; i < count; ++i) {
        let_go_of_value(self, entries[i].value);
        let_go_of_key(self, entries[i].key);
    }
    if (self.capacity != 0) {
        free_entries(self, entries);
        deallocate(self.allocator, index);
        return;
    }
    self.entries = entries;
    self.index = index;
    self.capacity = capacity;
}

bool equal_values(const table& self, const void* a, const void* b) {
    if (a == b) return true;
    const auto equal_callback = self.callbacks->value.equal;
    return equal_callback != nullptr && equal_callback(a, b) != 0;
}

void finalize_table(object& self) {
    auto& dead = static_cast<table&>(self);
    const bool holds_objects = dead.callbacks == &object_callbacks;
    for (const entry& last : entries_of(&dead)) {
        if (holds_objects) {
            release(last.value);
            release(last.key);
        } else {
            let_go_of_value(dead, last.value);
            let_go_of_key(dead, last.key);
        }
    }
    free_entries(dead, dead.entries);
    deallocate(dead.allocator, dead.index);
    if (as_constant(*dead.callbacks) != dead.callbacks)
        deallocate(dead.allocator, const_cast<table_callbacks*>(dead.callbacks));
}

CFHashCode hash_table(const object& self) {
    return static_cast<CFHashCode>(static_cast<const table&>(self).count);
}

CFStringRef describe_table(const object& self) {
    const auto& described = static_cast<const table&>(self);
    const owned<CFStringRef> heading(copy_heading(self, "CFBasicHash"));
    owned<CFMutableStringRef> text(CFStringCreateMutable(nullptr, 0));
    if (!heading || !text) return nullptr;
    const bool is_set = described.kind == type::set;
    CFStringAppendFormat(text.get(), nullptr, CFSTR("%@{type = %s %s, count = %lld,\nentries =>\n"),
                         heading.get(), described.is_mutable ? "mutable" : "immutable",
                         is_set ? "set" : "dict", as_long_long(described.count));
    long long number = 0;
    for (const entry& entry : entries_of(&described)) {
        const owned<CFStringRef> key(describe_with(described.callbacks->key.copyDescription, entry.key));
        CFStringAppendFormat(text.get(), nullptr, CFSTR("\t%lld : %@"), number++, key.get());
        if (!is_set) {
            const owned<CFStringRef> value(
                describe_with(described.callbacks->value.copyDescription, entry.value));
            CFStringAppendFormat(text.get(), nullptr, CFSTR(" = %@"), value.get());
        }
        CFStringAppend(text.get(), CFSTR("\n"));
    }
    CFStringAppend(text.get(), CFSTR("}\n"));
    return text.detach();
}

bool same_keys(const table& a, const table& b) {
    return a.callbacks->key.equal == b.callbacks->key.equal && a.callbacks->key.hash == b.callbacks->key.hash;
}

table* create_table_adopting(CFAllocatorRef allocator, type kind, std::span<const CFTypeRef> keys,
                             std::span<const CFTypeRef> values, bool is_mutable, repeated_keys rule) {
    table* made = make_table(allocator, kind, static_cast<CFIndex>(keys.size()),
                             kind == type::set ? object_set_callbacks : object_callbacks, is_mutable);
    if (made == nullptr) return nullptr;
    bool is_given_up = false;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const CFTypeRef value = kind == type::set ? nullptr : values[i];
        // Keys that all have one hash would take ages to enter as well. Who set the limit wants no such
        // table.
        if (i % 1024 == 0 && comparison_limit::is_reached()) is_given_up = true;
        if (is_given_up) {
            made->entries[made->count++] = {keys[i], value, 0};
            continue;
        }
        const CFHashCode hash = hash_key(*made, keys[i]);
        entry* found = find_hashed(*made, keys[i], hash);
        if (found == nullptr) {
            append(*made, {keys[i], value, hash});
            continue;
        }
        const CFTypeRef left_over =
            rule == repeated_keys::last_wins ? std::exchange(found->value, value) : value;
        release(keys[i]);
        if (left_over != nullptr) release(left_over);
    }
    return made;
}

} // namespace cf
