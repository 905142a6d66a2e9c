#pragma once

#include <CFAdapters/Type.h>

#include <compare>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <ranges>
#include <utility>
#include <vector>

namespace CF {

/// Walks over the elements of an array, each as a `Wrapper` of its own: empty where the type is another.
///
/// Borrows the array. Random access in the sense of C++20, where what `*` yields may be a value.
template <std::derived_from<Type> Wrapper>
class ArrayIterator {
public:
    using iterator_concept = std::random_access_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = Wrapper;
    using difference_type = std::ptrdiff_t;

    ArrayIterator() noexcept = default;
    /// At element `index` of `array`.
    ArrayIterator(CFArrayRef array, std::ptrdiff_t index) noexcept : array_(array), index_(index) {}

    Wrapper operator*() const noexcept { return (*this)[0]; }
    Wrapper operator[](std::ptrdiff_t offset) const noexcept {
        return Wrapper(CFArrayGetValueAtIndex(array_, index_ + offset));
    }
    ArrayIterator& operator+=(std::ptrdiff_t offset) noexcept {
        index_ += offset;
        return *this;
    }
    ArrayIterator& operator-=(std::ptrdiff_t offset) noexcept { return *this += -offset; }
    ArrayIterator& operator++() noexcept { return *this += 1; }
    ArrayIterator& operator--() noexcept { return *this += -1; }
    ArrayIterator operator++(int) noexcept { return std::exchange(*this, *this + 1); }
    ArrayIterator operator--(int) noexcept { return std::exchange(*this, *this - 1); }

    friend ArrayIterator operator+(ArrayIterator it, std::ptrdiff_t offset) noexcept { return it += offset; }
    friend ArrayIterator operator+(std::ptrdiff_t offset, ArrayIterator it) noexcept { return it += offset; }
    friend ArrayIterator operator-(ArrayIterator it, std::ptrdiff_t offset) noexcept { return it -= offset; }
    friend std::ptrdiff_t operator-(const ArrayIterator& left, const ArrayIterator& right) noexcept {
        return left.index_ - right.index_;
    }
    friend bool operator==(const ArrayIterator& left, const ArrayIterator& right) noexcept {
        return left.index_ == right.index_;
    }
    friend std::strong_ordering operator<=>(const ArrayIterator& left, const ArrayIterator& right) noexcept {
        return left.index_ <=> right.index_;
    }

private:
    CFArrayRef array_ = nullptr;
    std::ptrdiff_t index_ = 0;
};

/// The elements of an array as wrappers of one type. Owns a reference: it may outlive what it was made from.
template <std::derived_from<Type> Wrapper>
class ArrayView : public std::ranges::view_interface<ArrayView<Wrapper>> {
public:
    ArrayView() noexcept = default;
    /// The elements of `array`, null for none.
    explicit ArrayView(CFArrayRef array) noexcept : array_(array) {}

    [[nodiscard]] ArrayIterator<Wrapper> begin() const noexcept { return {raw(), 0}; }
    [[nodiscard]] ArrayIterator<Wrapper> end() const noexcept {
        return {raw(), array_ ? CFArrayGetCount(raw()) : 0};
    }

private:
    CFArrayRef raw() const noexcept { return static_cast<CFArrayRef>(array_.get()); }

    AutoPointer array_;
};

/// What `Array` and `MutableArray` have in common. The elements must be objects, as they are in every array
/// made here or read from a property list.
template <class Derived, class Reference>
// NOLINTNEXTLINE(bugprone-crtp-constructor-accessibility)
class ArrayOperations : public Typed<Derived, Reference> {
public:
    using Typed<Derived, Reference>::Typed;

    /// The type identifier of arrays.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFArrayGetTypeID(); }

    /// The number of elements; 0 when empty.
    [[nodiscard]] std::size_t size() const noexcept {
        return *this ? static_cast<std::size_t>(CFArrayGetCount(this->get())) : 0;
    }
    /// Whether there are no elements: an empty array, or no array at all.
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    /// The element at `index`; empty when there is none.
    [[nodiscard]] AutoPointer operator[](std::size_t index) const noexcept { return get<AutoPointer>(index); }

    using Typed<Derived, Reference>::get;
    /// The element at `index` as a `Wrapper`; empty when there is none or it is of another type.
    template <std::derived_from<Type> Wrapper>
    [[nodiscard]] Wrapper get(std::size_t index) const noexcept {
        if (index >= size()) return Wrapper();
        return Wrapper(CFArrayGetValueAtIndex(this->get(), static_cast<CFIndex>(index)));
    }
    /// Whether an element equals `value`; false for an empty `value`.
    [[nodiscard]] bool contains(const Type& value) const noexcept {
        return *this && value &&
               CFArrayContainsValue(this->get(), CFRangeMake(0, CFArrayGetCount(this->get())), value.get());
    }

    [[nodiscard]] ArrayIterator<AutoPointer> begin() const noexcept { return {this->get(), 0}; }
    [[nodiscard]] ArrayIterator<AutoPointer> end() const noexcept {
        return {this->get(), static_cast<std::ptrdiff_t>(size())};
    }
    /// The elements as wrappers of one type, empty where an element is of another:
    ///
    ///     for (const CF::String& name : names.as<CF::String>())
    template <std::derived_from<Type> Wrapper>
    [[nodiscard]] ArrayView<Wrapper> as() const noexcept {
        return ArrayView<Wrapper>(this->get());
    }
};

class MutableArray;

/// Owns a CFArray, or is empty. The object may be a mutable one that others change.
class Array : public ArrayOperations<Array, CFArrayRef> {
public:
    using ArrayOperations::ArrayOperations;
    Array() noexcept = default;
    /// Shares the object of a mutable array; what changes there changes here.
    Array(const MutableArray& other) noexcept; // NOLINT(google-explicit-constructor)
    /// Takes the object of a mutable array.
    Array(MutableArray&& other) noexcept; // NOLINT(google-explicit-constructor)

    /// An immutable array of the given objects; empty if one of them is empty.
    template <std::derived_from<Type>... Wrappers>
    [[nodiscard]] static Array of(const Wrappers&... values) noexcept {
        // One more, since an array in C++ cannot have no elements.
        const void* raw[] = {values.get()..., nullptr};
        return create(raw, sizeof...(values));
    }
    /// An immutable array of the wrappers in a range; empty if one of them is empty. @throws std::bad_alloc
    template <std::ranges::input_range Range>
    requires std::convertible_to<std::ranges::range_reference_t<Range>, AutoPointer>
    [[nodiscard]] static Array from(Range&& range) {
        std::vector<AutoPointer> values;
        std::vector<const void*> raw;
        for (auto&& value : range) {
            values.emplace_back(value);
            raw.push_back(values.back().get());
        }
        return create(raw.data(), raw.size());
    }
    /// An immutable copy of the array itself, not of the elements.
    [[nodiscard]] Array copy() const noexcept {
        return adopt(*this ? CFArrayCreateCopy(kCFAllocatorDefault, get()) : nullptr);
    }

private:
    static Array create(const void** values, std::size_t count) noexcept {
        for (std::size_t index = 0; index < count; ++index) {
            if (values[index] == nullptr) return Array();
        }
        return adopt(
            CFArrayCreate(kCFAllocatorDefault, values, static_cast<CFIndex>(count), &kCFTypeArrayCallBacks));
    }
};

/// Owns a mutable CFArray, or is empty.
///
/// Made only by `create`, `copy_of` or from a CFMutableArrayRef: no object tells whether it is mutable.
class MutableArray : public ArrayOperations<MutableArray, CFMutableArrayRef> {
public:
    MutableArray() noexcept = default;
    /// Retains `object`, which may be null.
    explicit MutableArray(CFMutableArrayRef object) noexcept : ArrayOperations(object) {}
    /// Takes over the caller's reference, as a function with Create or Copy in its name gives it.
    [[nodiscard]] static MutableArray adopt(CFMutableArrayRef object) noexcept {
        MutableArray array(object);
        if (object != nullptr) CFRelease(object);
        return array;
    }
    /// A new array without elements. Empty only for want of memory.
    [[nodiscard]] static MutableArray create() noexcept {
        return adopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    }
    /// A new array with the elements of another; empty if `other` is.
    [[nodiscard]] static MutableArray copy_of(const Array& other) noexcept {
        return adopt(other ? CFArrayCreateMutableCopy(kCFAllocatorDefault, 0, other.get()) : nullptr);
    }

    /// Adds `value` at the end and says whether it is there: not when it, or the wrapper, is empty, nor for
    /// want of memory.
    bool append(const Type& value) noexcept {
        const std::size_t before = size();
        if (*this && value) CFArrayAppendValue(get(), value.get());
        return size() == before + 1;
    }
    /// Replaces the element at `index`; false, changing nothing, if there is none or one wrapper is empty.
    bool set(std::size_t index, const Type& value) noexcept {
        if (index >= size() || !value) return false;
        CFArraySetValueAtIndex(get(), static_cast<CFIndex>(index), value.get());
        return true;
    }
    /// Removes the element at `index`; false if there is none.
    bool remove(std::size_t index) noexcept {
        if (index >= size()) return false;
        CFArrayRemoveValueAtIndex(get(), static_cast<CFIndex>(index));
        return true;
    }
    /// Removes all elements.
    void clear() noexcept {
        if (*this) CFArrayRemoveAllValues(get());
    }
};

inline Array::Array(const MutableArray& other) noexcept : Array(static_cast<const Type&>(other)) {}
inline Array::Array(MutableArray&& other) noexcept : Array(static_cast<Type&&>(other)) {}

} // namespace CF
