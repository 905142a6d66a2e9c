#pragma once

#include <CFAdapters/Type.h>

#include <cstddef>
#include <span>
#include <vector>

namespace CF {

/// Owns a CFData, or is empty.
class Data : public Typed<Data, CFDataRef> {
public:
    using Typed::Typed;

    /// Copies `bytes` into an immutable object.
    explicit Data(std::span<const std::byte> bytes) noexcept
        : Typed(adopted(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                     static_cast<CFIndex>(bytes.size())))) {}

    /// The type identifier of data objects.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFDataGetTypeID(); }

    /// The number of bytes; 0 when empty.
    [[nodiscard]] std::size_t size() const noexcept {
        return *this ? static_cast<std::size_t>(CFDataGetLength(get())) : 0;
    }
    /// Whether there are no bytes: an empty object, or no object at all.
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }

    /// The object's own bytes, borrowed until it changes or goes; none when there is no object.
    [[nodiscard]] std::span<const std::byte> bytes() const noexcept {
        if (!*this) return {};
        return {reinterpret_cast<const std::byte*>(CFDataGetBytePtr(get())), size()};
    }
    /// A copy of the bytes. @throws std::bad_alloc
    [[nodiscard]] std::vector<std::byte> to_vector() const {
        const std::span<const std::byte> all = bytes();
        return {all.begin(), all.end()};
    }
};

} // namespace CF
