#pragma once

#include <CFAdapters/Type.h>

#include <compare>
#include <string>
#include <string_view>

namespace CF {

/// Owns a CFString, or is empty. Texts cross in UTF-8, with embedded NULs.
class String : public Typed<String, CFStringRef> {
public:
    using Typed::Typed;

    /// Copies `text`, which is UTF-8. Empty when it is not well formed; one leading byte order mark is
    /// dropped.
    explicit String(std::string_view text) noexcept
        : Typed(adopted(
              CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                      static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false))) {}

    /// The type identifier of strings.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFStringGetTypeID(); }

    /// The number of UTF-16 units; 0 when empty.
    [[nodiscard]] std::size_t length() const noexcept {
        return *this ? static_cast<std::size_t>(CFStringGetLength(get())) : 0;
    }
    /// Whether there is no text: an empty string, or no string at all.
    [[nodiscard]] bool empty() const noexcept { return length() == 0; }

    /// The whole text in UTF-8, embedded NULs included; "" when empty.
    ///
    /// U+FFFD stands for an unpaired surrogate, which UTF-8 cannot hold. @throws std::bad_alloc
    [[nodiscard]] std::string to_string() const { return detail::to_utf8(get()); }
    /// The text itself, unlike other types' descriptions; "(null)" when empty. @throws std::bad_alloc
    [[nodiscard]] std::string description() const { return *this ? to_string() : "(null)"; }

    /// Orders by UTF-16 unit, without regard to language; an empty wrapper comes first.
    [[nodiscard]] friend std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
        if (!left || !right) return static_cast<bool>(left) <=> static_cast<bool>(right);
        return CFStringCompare(left.get(), right.get(), 0) <=> 0;
    }
    /// Whether the text is `text`, as `to_string` gives it. No text equals an empty wrapper.
    /// @throws std::bad_alloc
    [[nodiscard]] friend bool operator==(const String& left, std::string_view text) {
        return left && left.to_string() == text;
    }
};

} // namespace CF
