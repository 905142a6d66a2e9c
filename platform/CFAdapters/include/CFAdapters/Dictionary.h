#pragma once

#include <CFAdapters/String.h>
#include <CFAdapters/Type.h>

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace CF {

/// What a dictionary's entries are found by: an object, or a text in UTF-8 that is made a string for the
/// call.
class DictionaryKey {
public:
    DictionaryKey(const Type& key) noexcept : key_(key) {}              // NOLINT(google-explicit-constructor)
    DictionaryKey(std::string_view key) noexcept : key_(String(key)) {} // NOLINT(google-explicit-constructor)
    DictionaryKey(const char* key) noexcept                             // NOLINT(google-explicit-constructor)
        : DictionaryKey(std::string_view(key)) {}
    DictionaryKey(const std::string& key) noexcept // NOLINT(google-explicit-constructor)
        : DictionaryKey(std::string_view(key)) {}
    template <object_reference Reference>
    DictionaryKey(Reference key) noexcept : key_(key) {} // NOLINT(google-explicit-constructor)

    /// The key, borrowed; null for an empty wrapper and for a text that is not well formed.
    [[nodiscard]] CFTypeRef get() const noexcept { return key_.get(); }

private:
    AutoPointer key_;
};

/// Walks over the entries a dictionary had when the walk began, in no particular order.
class DictionaryIterator {
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = std::pair<AutoPointer, AutoPointer>;
    using difference_type = std::ptrdiff_t;

    DictionaryIterator() noexcept = default;
    /// At the first entry of `dictionary`, null for none. @throws std::bad_alloc
    explicit DictionaryIterator(CFDictionaryRef dictionary) {
        const CFIndex count = dictionary == nullptr ? 0 : CFDictionaryGetCount(dictionary);
        if (count == 0) return;
        std::vector<const void*> keys(static_cast<std::size_t>(count));
        std::vector<const void*> values(static_cast<std::size_t>(count));
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        auto entries = std::make_shared<std::vector<value_type>>();
        entries->reserve(keys.size());
        for (std::size_t index = 0; index < keys.size(); ++index)
            entries->emplace_back(AutoPointer(keys[index]), AutoPointer(values[index]));
        entries_ = std::move(entries);
    }

    /// The entry: its key and its value.
    value_type operator*() const noexcept { return (*entries_)[index_]; }
    DictionaryIterator& operator++() noexcept {
        ++index_;
        return *this;
    }
    DictionaryIterator operator++(int) noexcept {
        DictionaryIterator before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(const DictionaryIterator& left, const DictionaryIterator& right) noexcept {
        return left.index_ == right.index_;
    }
    friend bool operator==(const DictionaryIterator& it, std::default_sentinel_t) noexcept {
        return it.entries_ == nullptr || it.index_ == it.entries_->size();
    }

private:
    std::shared_ptr<const std::vector<value_type>> entries_;
    std::size_t index_ = 0;
};

/// What `Dictionary` and `MutableDictionary` have in common. Keys and values must be objects, as they are in
/// every dictionary made here or read from a property list.
template <class Derived, class Reference>
// NOLINTNEXTLINE(bugprone-crtp-constructor-accessibility)
class DictionaryOperations : public Typed<Derived, Reference> {
public:
    using Typed<Derived, Reference>::Typed;

    /// The type identifier of dictionaries.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFDictionaryGetTypeID(); }

    /// The number of entries; 0 when empty.
    [[nodiscard]] std::size_t size() const noexcept {
        return *this ? static_cast<std::size_t>(CFDictionaryGetCount(this->get())) : 0;
    }
    /// Whether there are no entries: an empty dictionary, or no dictionary at all.
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    /// Whether there is an entry for `key`.
    [[nodiscard]] bool contains(const DictionaryKey& key) const noexcept {
        return *this && key.get() != nullptr && CFDictionaryContainsKey(this->get(), key.get());
    }
    /// The value for `key`; empty when there is none.
    [[nodiscard]] AutoPointer operator[](const DictionaryKey& key) const noexcept {
        return get<AutoPointer>(key);
    }

    using Typed<Derived, Reference>::get;
    /// The value for `key` as a `Wrapper`; empty when there is none or it is of another type.
    template <std::derived_from<Type> Wrapper>
    [[nodiscard]] Wrapper get(const DictionaryKey& key) const noexcept {
        if (!*this || key.get() == nullptr) return Wrapper();
        return Wrapper(CFDictionaryGetValue(this->get(), key.get()));
    }

    /// The entries as pairs of key and value, as they are now: changes during the walk do not show.
    /// @throws std::bad_alloc
    [[nodiscard]] DictionaryIterator begin() const { return DictionaryIterator(this->get()); }
    [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }
};

class MutableDictionary;

/// Owns a CFDictionary, or is empty. The object may be a mutable one that others change.
class Dictionary : public DictionaryOperations<Dictionary, CFDictionaryRef> {
public:
    using DictionaryOperations::DictionaryOperations;
    Dictionary() noexcept = default;
    /// Shares the object of a mutable dictionary; what changes there changes here.
    Dictionary(const MutableDictionary& other) noexcept; // NOLINT(google-explicit-constructor)
    /// Takes the object of a mutable dictionary.
    Dictionary(MutableDictionary&& other) noexcept; // NOLINT(google-explicit-constructor)

    /// An immutable dictionary of the given keys and values; of equal keys the first one's entry stays. Empty
    /// if a key or value is empty. @throws std::bad_alloc
    [[nodiscard]] static Dictionary of(std::initializer_list<std::pair<DictionaryKey, AutoPointer>> entries) {
        std::vector<const void*> keys;
        std::vector<const void*> values;
        for (const auto& [key, value] : entries) {
            if (key.get() == nullptr || !value) return Dictionary();
            keys.push_back(key.get());
            values.push_back(value.get());
        }
        return adopt(CFDictionaryCreate(kCFAllocatorDefault, keys.data(), values.data(),
                                        static_cast<CFIndex>(keys.size()), &kCFTypeDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks));
    }
    /// An immutable copy of the dictionary itself, not of its values.
    [[nodiscard]] Dictionary copy() const noexcept {
        return adopt(*this ? CFDictionaryCreateCopy(kCFAllocatorDefault, get()) : nullptr);
    }
};

/// Owns a mutable CFDictionary, or is empty.
///
/// Made only by `create`, `copy_of` or from a CFMutableDictionaryRef: no object tells whether it is mutable.
class MutableDictionary : public DictionaryOperations<MutableDictionary, CFMutableDictionaryRef> {
public:
    MutableDictionary() noexcept = default;
    /// Retains `object`, which may be null.
    explicit MutableDictionary(CFMutableDictionaryRef object) noexcept : DictionaryOperations(object) {}
    /// Takes over the caller's reference, as a function with Create or Copy in its name gives it.
    [[nodiscard]] static MutableDictionary adopt(CFMutableDictionaryRef object) noexcept {
        MutableDictionary dictionary(object);
        if (object != nullptr) CFRelease(object);
        return dictionary;
    }
    /// A new dictionary without entries. Empty only for want of memory.
    [[nodiscard]] static MutableDictionary create() noexcept {
        return adopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                               &kCFTypeDictionaryValueCallBacks));
    }
    /// A new dictionary with the entries of another; empty if `other` is.
    [[nodiscard]] static MutableDictionary copy_of(const Dictionary& other) noexcept {
        return adopt(other ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, other.get()) : nullptr);
    }

    /// Adds an entry or replaces the one for `key`, and says whether it is there: not when the key, the value
    /// or this wrapper is empty, nor for want of memory.
    bool set(const DictionaryKey& key, const Type& value) noexcept {
        if (!*this || key.get() == nullptr || !value) return false;
        CFDictionarySetValue(get(), key.get(), value.get());
        return CFDictionaryGetValue(get(), key.get()) == value.get();
    }
    /// Removes the entry for `key`; false if there is none.
    bool remove(const DictionaryKey& key) noexcept {
        if (!contains(key)) return false;
        CFDictionaryRemoveValue(get(), key.get());
        return true;
    }
    /// Removes all entries.
    void clear() noexcept {
        if (*this) CFDictionaryRemoveAllValues(get());
    }
};

inline Dictionary::Dictionary(const MutableDictionary& other) noexcept
    : Dictionary(static_cast<const Type&>(other)) {}
inline Dictionary::Dictionary(MutableDictionary&& other) noexcept : Dictionary(static_cast<Type&&>(other)) {}

} // namespace CF
