#include <CoreFoundation/CFUUID.h>

#include "string_storage.h"

#include <array>
#include <cstring>
#include <exception>
#include <random>

struct __CFUUID
    : cf::object { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    std::array<UInt8, 16> bytes;
};
static_assert(sizeof(CFUUIDBytes) == 16);

namespace {

using cf::object;

// Where dashes stand in the text form.
constexpr bool is_dash(std::size_t place) {
    return place == 8 || place == 13 || place == 18 || place == 23;
}

bool equal_uuid(const object& a, const object& b) {
    return static_cast<const __CFUUID&>(a).bytes == static_cast<const __CFUUID&>(b).bytes;
}

CFHashCode hash_uuid(const object& self) {
    std::array<std::uint64_t, 2> words{};
    std::memcpy(words.data(), static_cast<const __CFUUID&>(self).bytes.data(), 16);
    return words[0] ^ words[1];
}

CFStringRef copy_text(const object& self) {
    return CFUUIDCreateString(nullptr, static_cast<const __CFUUID*>(&self));
}

CFStringRef describe(const object& self) {
    const cf::owned<CFStringRef> text(copy_text(self));
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<CFUUID %p> %@"),
                                    static_cast<const void*>(&self), text.get());
}

CFUUIDRef create(CFAllocatorRef allocator, const std::array<UInt8, 16>& bytes) {
    auto* made = cf::make<__CFUUID>(allocator, cf::type::uuid);
    if (made != nullptr) made->bytes = bytes;
    return made;
}

int digit_value(UniChar unit) {
    if (unit >= '0' && unit <= '9') return unit - '0';
    if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
    if (unit >= 'A' && unit <= 'F') return unit - 'A' + 10;
    return -1;
}

} // namespace

namespace cf {

constinit const type_info uuid_type_info = {"CFUUID",  false,    nullptr,  equal_uuid,
                                            hash_uuid, describe, copy_text};

} // namespace cf

CFTypeID CFUUIDGetTypeID() {
    return static_cast<CFTypeID>(cf::type::uuid);
}

CFUUIDRef CFUUIDCreate(CFAllocatorRef alloc) {
    try {
        std::random_device device;
        std::array<UInt8, 16> bytes{};
        for (UInt8& byte : bytes)
            byte = static_cast<UInt8>(device());
        bytes[6] = static_cast<UInt8>((bytes[6] & 0x0FU) | 0x40U);
        bytes[8] = static_cast<UInt8>((bytes[8] & 0x3FU) | 0x80U);
        return create(alloc, bytes);
    } catch (const std::exception&) {
        return nullptr;
    }
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef alloc, CFUUIDBytes bytes) {
    std::array<UInt8, 16> copy{};
    std::memcpy(copy.data(), &bytes, copy.size());
    return create(alloc, copy);
}

CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef alloc, CFStringRef uuidStr) {
    if (!cf::is(uuidStr, cf::type::string)) return nullptr;
    const cf::text_view text = cf::view(uuidStr);
    if (text.length != 36) return nullptr;
    std::array<UInt8, 16> bytes{};
    std::size_t digits = 0;
    for (std::size_t i = 0; i < 36; ++i) {
        const UniChar unit = text[static_cast<CFIndex>(i)];
        if (is_dash(i)) {
            if (unit != '-') return nullptr;
            continue;
        }
        const int value = digit_value(unit);
        if (value < 0) return nullptr;
        const unsigned first = bytes[digits / 2];
        bytes[digits / 2] = static_cast<UInt8>(first << 4U | static_cast<unsigned>(value));
        ++digits;
    }
    return create(alloc, bytes);
}

CFStringRef CFUUIDCreateString(CFAllocatorRef alloc, CFUUIDRef uuid) {
    if (!cf::is(uuid, cf::type::uuid)) return nullptr;
    char* storage = nullptr;
    CFStringRef made = cf::create_narrow_string(alloc, 36, &storage);
    if (made == nullptr) return nullptr;
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::size_t digit = 0;
    for (std::size_t i = 0; i < 36; ++i) {
        if (is_dash(i)) {
            storage[i] = '-';
            continue;
        }
        const unsigned byte = uuid->bytes[digit / 2];
        storage[i] = digits[digit % 2 == 0 ? byte >> 4U : byte & 0xFU];
        ++digit;
    }
    return made;
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) {
    CFUUIDBytes bytes{};
    if (cf::is(uuid, cf::type::uuid)) std::memcpy(&bytes, uuid->bytes.data(), sizeof bytes);
    return bytes;
}
