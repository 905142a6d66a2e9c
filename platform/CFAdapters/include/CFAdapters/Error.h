#pragma once

#include <CFAdapters/Dictionary.h>
#include <CFAdapters/String.h>
#include <CFAdapters/Type.h>
#include <CFAdapters/export.h>
#include <CFAdapters/friendly.h>

#include <atomic>
#include <exception>
#include <memory>
#include <string>

// A class that is thrown across libraries must be one type to all of them: on ELF that takes visibility.
#if defined(_WIN32)
#define CFADAPTERS_TYPE
#else
#define CFADAPTERS_TYPE CFADAPTERS_EXPORT
#endif

namespace CF {

namespace detail {

/// A text made at the first call for it. Not copied along with its owner: the copy makes its own.
class cached_text {
public:
    cached_text() noexcept = default;
    cached_text(const cached_text&) noexcept {}
    cached_text& operator=(const cached_text& other) noexcept {
        if (this != &other) delete text_.exchange(nullptr);
        return *this;
    }
    ~cached_text() { delete text_.load(); }

    /// What `make` returned at the first call; any number of threads may be first. @throws what `make` throws
    template <class Function>
    const char* get(Function make) const {
        const std::string* text = text_.load();
        if (text == nullptr) {
            auto made = std::make_unique<const std::string>(make());
            if (text_.compare_exchange_strong(text, made.get())) text = made.release();
        }
        return text->c_str();
    }

private:
    mutable std::atomic<const std::string*> text_ = nullptr;
};

} // namespace detail

/// Owns a CFError, or is empty; can be thrown.
class CFADAPTERS_TYPE Error : public Typed<Error, CFErrorRef>, public std::exception {
public:
    using Typed::Typed;
    Error() noexcept = default;
    /// Makes an error whose user info holds the description, the failure reason and the underlying error,
    /// each unless empty. Empty itself when `domain` is empty or for want of memory.
    Error(const String& domain, CFIndex code, const String& description, const Error& underlying,
          const String& failure_reason) noexcept
        : Typed(create(domain, code, description, underlying, failure_reason)) {}

    /// The type identifier of errors.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFErrorGetTypeID(); }

    /// The domain; empty when this is.
    [[nodiscard]] String domain() const noexcept { return String(*this ? CFErrorGetDomain(get()) : nullptr); }
    /// The code within the domain; 0 when empty.
    [[nodiscard]] CFIndex code() const noexcept { return *this ? CFErrorGetCode(get()) : 0; }
    /// The text for users, made of domain and code if none was given; empty when this is.
    [[nodiscard]] String localized_description() const noexcept {
        return String::adopt(*this ? CFErrorCopyDescription(get()) : nullptr);
    }
    /// The failure reason; empty without one.
    [[nodiscard]] String failure_reason() const noexcept {
        return String::adopt(*this ? CFErrorCopyFailureReason(get()) : nullptr);
    }
    /// The user info; empty when this is.
    [[nodiscard]] Dictionary user_info() const noexcept {
        return Dictionary::adopt(*this ? CFErrorCopyUserInfo(get()) : nullptr);
    }
    /// The error behind this one; empty if the user info has none, or an object of another type in its place.
    [[nodiscard]] Error underlying() const noexcept {
        return user_info().get<Error>(kCFErrorUnderlyingErrorKey);
    }
    /// Whether the description is fit for users (CFErrorIsFriendly); false when empty.
    [[nodiscard]] bool is_friendly() const noexcept { return CFErrorIsFriendly(get()); }

    /// The text for users in UTF-8, or "Invalid Error object" when empty.
    ///
    /// Lives until this wrapper is assigned to or destroyed. Any number of threads may ask at once. For want
    /// of memory the text is "An error that there is no memory to describe".
    [[nodiscard]] const char* what() const noexcept override {
        if (!*this) return "Invalid Error object";
        try {
            return what_.get([this] { return localized_description().to_string(); });
        } catch (...) {
            return "An error that there is no memory to describe";
        }
    }

private:
    static Type create(const String& domain, CFIndex code, const String& description, const Error& underlying,
                       const String& failure_reason) noexcept {
        if (!domain) return Type();
        MutableDictionary user_info = MutableDictionary::create();
        user_info.set(kCFErrorLocalizedDescriptionKey, description);
        user_info.set(kCFErrorLocalizedFailureReasonKey, failure_reason);
        user_info.set(kCFErrorUnderlyingErrorKey, underlying);
        return adopted(CFErrorCreate(kCFAllocatorDefault, domain.get(), code, user_info.get()));
    }

    detail::cached_text what_;
};

} // namespace CF
