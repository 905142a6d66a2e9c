#include "string_storage.h"

#include "encodings.h"

#include <cstring>
#include <limits>

namespace cf {

namespace {

constinit const constant_string empty_string("");

// The longest string whose size in bytes is a CFIndex, whatever its width.
constexpr std::size_t longest = static_cast<std::size_t>(std::numeric_limits<CFIndex>::max()) / 4;

template <typename Unit>
CFStringRef create_uninitialised(CFAllocatorRef allocator, std::size_t length, Unit** storage,
                                 std::uint16_t detail) {
    if (length > longest) return nullptr;
    auto* made = static_cast<__CFString*>(
        allocate_object(allocator, type::string, sizeof(__CFString) + (length + 1) * sizeof(Unit)));
    if (made == nullptr) return nullptr;
    made->detail = detail;
    ::new (&made->cached_hash) std::atomic<std::uint64_t>(0);
    made->length = static_cast<CFIndex>(length);
    auto* units = reinterpret_cast<Unit*>(made + 1);
    made->units = units;
    units[length] = 0;
    *storage = units;
    return made;
}

// Mixes 64 bits so that each of them sways all.
std::uint64_t mix(std::uint64_t value) {
    value ^= value >> 32U;
    value *= 0xD6E8FEB86659FD93U;
    value ^= value >> 32U;
    value *= 0xD6E8FEB86659FD93U;
    value ^= value >> 32U;
    return value;
}

// Four ASCII bytes as the four UTF-16 units they stand for, in one word.
std::uint64_t widen(std::uint32_t bytes) {
    std::uint64_t word = bytes;
    word = (word | word << 16U) & 0x0000FFFF0000FFFFU;
    return (word | word << 8U) & 0x00FF00FF00FF00FFU;
}

// The word of up to four units from `index` on, the first one lowest.
std::uint64_t word_at(text_view text, std::size_t index, std::size_t count) {
    if (text.wide) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.utf16().data() + index, count * sizeof(UniChar));
        return word;
    }
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, text.narrow().data() + index, count);
    return widen(bytes);
}

void finalize(object& self) {
    auto& string = static_cast<__CFString&>(self);
    if ((string.detail & string_is_external) == 0) return;
    const auto& external = static_cast<const external_string&>(string);
    CFAllocatorRef allocator = external.units_allocator;
    deallocate(allocator, const_cast<void*>(external.units));
    if (allocator != nullptr) release(allocator);
}

bool equal_strings(const object& a, const object& b) {
    return same_text(view(static_cast<const __CFString*>(&a)), view(static_cast<const __CFString*>(&b)));
}

CFHashCode hash_string(const object& self) {
    const auto& string = static_cast<const __CFString&>(self);
    std::uint64_t hash = string.cached_hash.load(std::memory_order_relaxed);
    if (hash == 0) {
        hash = hash_text(view(&string));
        if (!string.is_mutable) string.cached_hash.store(hash, std::memory_order_relaxed);
    }
    return hash;
}

CFStringRef describe(const object& self) {
    const owned<CFStringRef> heading(copy_heading(self, "CFString"));
    if (!heading) return nullptr;
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@{contents = \"%@\"}"), heading.get(), &self);
}

CFStringRef copy_itself(const object& self) {
    return CFStringCreateCopy(nullptr, static_cast<CFStringRef>(&self));
}

} // namespace

constinit const type_info string_type_info = {"CFString",  false,    finalize,   equal_strings,
                                              hash_string, describe, copy_itself};

bool is_ascii(std::string_view bytes) {
    const char* at = bytes.data();
    const char* const end = at + bytes.size();
    std::uint64_t seen = 0;
    for (; end - at >= 8; at += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, 8);
        seen |= word;
    }
    for (; at != end; ++at)
        seen |= static_cast<unsigned char>(*at);
    return (seen & 0x8080808080808080U) == 0;
}

CFStringRef create_narrow_string(CFAllocatorRef allocator, std::size_t length, char** storage) {
    return create_uninitialised(allocator, length, storage, 0);
}

CFStringRef create_wide_string(CFAllocatorRef allocator, std::size_t length, UniChar** storage) {
    return create_uninitialised(allocator, length, storage, string_is_wide);
}

CFStringRef create_ascii_string(CFAllocatorRef allocator, std::string_view ascii) {
    if (ascii.empty() && resolve(allocator) == nullptr) return &empty_string;
    char* storage = nullptr;
    CFStringRef made = create_narrow_string(allocator, ascii.size(), &storage);
    if (made != nullptr && !ascii.empty()) std::memcpy(storage, ascii.data(), ascii.size());
    return made;
}

CFStringRef create_utf16_string(CFAllocatorRef allocator, std::span<const UniChar> units) {
    unsigned bits = 0;
    for (const UniChar unit : units)
        bits |= unit;
    if (units.empty()) return create_ascii_string(allocator, {});
    if (bits < 0x80) {
        char* storage = nullptr;
        CFStringRef made = create_narrow_string(allocator, units.size(), &storage);
        if (made != nullptr) {
            for (const UniChar unit : units)
                *storage++ = static_cast<char>(unit);
        }
        return made;
    }
    UniChar* storage = nullptr;
    CFStringRef made = create_wide_string(allocator, units.size(), &storage);
    if (made != nullptr) std::memcpy(storage, units.data(), units.size_bytes());
    return made;
}

CFStringRef create_utf8_string(CFAllocatorRef allocator, std::string_view utf8) {
    return decode(allocator, {reinterpret_cast<const UInt8*>(utf8.data()), utf8.size()},
                  kCFStringEncodingUTF8, false);
}

// Each word is mixed before the next one comes in, with the seed at the start and the length at the end:
// texts that collide cannot be prepared without knowing the seed.
std::uint64_t hash_text(text_view text) {
    const auto length = static_cast<std::size_t>(text.length);
    std::uint64_t hash = hash_seed();
    std::size_t i = 0;
    for (; i + 4 <= length; i += 4)
        hash = mix(hash ^ word_at(text, i, 4)) + 0x9E3779B97F4A7C15U;
    if (i < length) hash = mix(hash ^ word_at(text, i, length - i)) + 0x9E3779B97F4A7C15U;
    hash = mix(hash ^ length);
    return hash == 0 ? 1 : hash; // 0 stands for "not asked for yet".
}

bool same_text(text_view a, text_view b) {
    if (a.length != b.length) return false;
    if (a.wide == b.wide) {
        const auto size = static_cast<std::size_t>(a.length) * (a.wide ? sizeof(UniChar) : 1);
        return size == 0 || std::memcmp(a.units, b.units, size) == 0;
    }
    for (CFIndex i = 0; i < a.length; ++i) {
        if (a[i] != b[i]) return false;
    }
    return true;
}

int compare_units(text_view a, text_view b) {
    const CFIndex common = a.length < b.length ? a.length : b.length;
    if (!a.wide && !b.wide) {
        const int order = common == 0 ? 0 : std::memcmp(a.units, b.units, static_cast<std::size_t>(common));
        if (order != 0) return order;
    } else {
        for (CFIndex i = 0; i < common; ++i) {
            const int order = int{a[i]} - int{b[i]};
            if (order != 0) return order;
        }
    }
    return a.length < b.length ? -1 : a.length > b.length ? 1 : 0;
}

} // namespace cf
