#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <concepts>
#include <cstddef>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

namespace CF {

namespace detail {

template <class Pointer>
using pointee = std::remove_cv_t<std::remove_pointer_t<Pointer>>;

template <class T, class... References>
inline constexpr bool points_to_one_of = (std::is_same_v<pointee<T>, pointee<References>> || ...);

/// The text of a CoreFoundation string in UTF-8; U+FFFD stands for an unpaired surrogate.
inline std::string to_utf8(CFStringRef string) {
    std::string text;
    const CFIndex length = string == nullptr ? 0 : CFStringGetLength(string);
    CFIndex position = 0;
    while (position < length) {
        const CFRange rest = CFRangeMake(position, length - position);
        CFIndex size = 0;
        CFStringGetBytes(string, rest, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size);
        const std::size_t before = text.size();
        text.resize(before + static_cast<std::size_t>(size));
        position += CFStringGetBytes(string, rest, kCFStringEncodingUTF8, 0, false,
                                     reinterpret_cast<UInt8*>(text.data() + before), size, nullptr);
        // The conversion stops at an unpaired surrogate, which UTF-8 cannot hold.
        if (position < length) {
            text += "\xEF\xBF\xBD";
            ++position;
        }
    }
    return text;
}

} // namespace detail

/// What can be a raw reference: `CFTypeRef`, the reference types of CoreFoundation, and `nullptr`.
///
/// Other pointers are refused, so that a `const char*` is never taken for an object.
template <class T>
concept object_reference = std::is_null_pointer_v<T> ||
    (std::is_pointer_v<T>&& detail::points_to_one_of<
        T, CFTypeRef, CFAllocatorRef, CFArrayRef, CFBooleanRef, CFDataRef, CFDateRef, CFDictionaryRef,
        CFErrorRef, CFNullRef, CFNumberRef, CFSetRef, CFStringRef, CFURLRef, CFUUIDRef>);

/// Owns one reference to an object of any type, or is empty. The base of all wrappers.
///
/// As a function's parameter it accepts any wrapper. It cannot be assigned to, since that could put an object
/// of the wrong type into a typed wrapper: hold objects of changing types in an `AutoPointer`.
class Type {
public:
    /// Empty.
    Type() noexcept = default;
    /// Retains `object`, which may be null.
    template <object_reference Reference>
    explicit Type(Reference object) noexcept : object_(object) {
        retain();
    }
    Type(const Type& other) noexcept : object_(other.object_) { retain(); }
    Type(Type&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~Type() { reset(); }

    /// The raw reference, borrowed; null when empty.
    [[nodiscard]] CFTypeRef get() const noexcept { return object_; }
    /// Whether an object is held. Says nothing about its value: `Boolean(false)` is not empty.
    [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }
    /// The type identifier of the object; 0 when empty.
    [[nodiscard]] CFTypeID type_id() const noexcept { return object_ == nullptr ? 0 : CFGetTypeID(object_); }
    /// Whether the object is of the type that the wrapper `T` is for; false when empty.
    template <class T>
    [[nodiscard]] bool is() const noexcept {
        return object_ != nullptr && CFGetTypeID(object_) == T::class_type_id();
    }
    /// Gives the object up, to be released by the caller; the wrapper is empty afterwards.
    [[nodiscard]] CFTypeRef release() noexcept { return std::exchange(object_, nullptr); }
    /// Releases the object; the wrapper is empty afterwards.
    void reset() noexcept {
        if (const CFTypeRef object = std::exchange(object_, nullptr)) CFRelease(object);
    }
    /// A text for debugging in UTF-8, such as CFCopyDescription makes; "(null)" when empty.
    /// @throws std::bad_alloc
    [[nodiscard]] std::string description() const {
        const Type text = adopted(object_ == nullptr ? nullptr : CFCopyDescription(object_));
        return text ? detail::to_utf8(static_cast<CFStringRef>(text.get())) : "(null)";
    }

    /// Whether the objects are equal by value (CFEqual); two empty wrappers are equal.
    [[nodiscard]] friend bool operator==(const Type& left, const Type& right) noexcept {
        if (left.object_ == right.object_) return true;
        return left.object_ != nullptr && right.object_ != nullptr && CFEqual(left.object_, right.object_);
    }

protected:
    Type& operator=(const Type& other) noexcept {
        Type copy(other);
        std::swap(object_, copy.object_);
        return *this;
    }
    Type& operator=(Type&& other) noexcept {
        Type taken(std::move(other));
        std::swap(object_, taken.object_);
        return *this;
    }
    /// Takes over the caller's reference.
    static Type adopted(CFTypeRef object) noexcept {
        Type taken;
        taken.object_ = object;
        return taken;
    }

private:
    void retain() const noexcept {
        if (object_ != nullptr) CFRetain(object_);
    }

    CFTypeRef object_ = nullptr;
};

/// Owns one reference to an object of any type, or is empty; can be assigned.
class AutoPointer : public Type {
public:
    using Type::Type;
    AutoPointer() noexcept = default;
    /// Shares the object of another wrapper.
    AutoPointer(const Type& other) noexcept : Type(other) {} // NOLINT(google-explicit-constructor)
    /// Takes the object of another wrapper, which is empty afterwards.
    AutoPointer(Type&& other) noexcept : Type(std::move(other)) {} // NOLINT(google-explicit-constructor)
    /// Takes over the caller's reference, as a function with Create or Copy in its name gives it.
    template <object_reference Reference>
    [[nodiscard]] static AutoPointer adopt(Reference object) noexcept {
        return adopted(object);
    }
};

/// What the typed wrappers have in common: they hold an object of their own type or nothing.
///
/// `Derived` is the wrapper, which says its type in `class_type_id()`; `Reference` is the raw reference type.
template <class Derived, class Reference>
class Typed : public Type {
public:
    /// The raw reference type, such as CFStringRef.
    using reference_type = Reference;

    // The wrappers inherit these constructors, which therefore must be public.
    // NOLINTBEGIN(bugprone-crtp-constructor-accessibility)

    /// Empty.
    Typed() noexcept = default;
    /// Retains `object` if it is of this wrapper's type; otherwise empty.
    template <object_reference Raw>
    explicit Typed(Raw object) noexcept : Type(matches(object) ? object : nullptr) {}
    /// Shares the object of another wrapper if it is of this wrapper's type; otherwise empty.
    explicit Typed(const Type& other) noexcept : Type(matches(other.get()) ? other : Type()) {}
    /// Takes the object of another wrapper if it is of this wrapper's type; otherwise empty, and `other`
    /// keeps its object.
    explicit Typed(Type&& other) noexcept : Type(matches(other.get()) ? std::move(other) : Type()) {}

    // NOLINTEND(bugprone-crtp-constructor-accessibility)

    /// The raw reference, borrowed; null when empty.
    [[nodiscard]] Reference get() const noexcept { return typed(Type::get()); }
    /// Gives the object up, to be released by the caller; the wrapper is empty afterwards.
    [[nodiscard]] Reference release() noexcept { return typed(Type::release()); }
    /// Takes over the caller's reference, as a function with Create or Copy in its name gives it. An object
    /// of another type is released, and the wrapper is empty.
    template <object_reference Raw>
    [[nodiscard]] static Derived adopt(Raw object) noexcept {
        return Derived(adopted(object));
    }

private:
    static Reference typed(CFTypeRef object) noexcept {
        // The type has been checked; CFErrorRef and the mutable references point to types without const.
        return static_cast<Reference>(const_cast<void*>(object)); // NOLINT(bugprone-casting-through-void)
    }
    static bool matches(CFTypeRef object) noexcept {
        return object != nullptr && CFGetTypeID(object) == Derived::class_type_id();
    }
};

} // namespace CF

/// Equal objects have equal hashes (CFHash); an empty wrapper's is 0.
template <std::derived_from<CF::Type> Wrapper>
struct std::hash<Wrapper> {
    std::size_t operator()(const Wrapper& wrapper) const noexcept {
        return wrapper ? static_cast<std::size_t>(CFHash(wrapper.get())) : 0;
    }
};
