#include "plist_objects.h"

#include "plist_text.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace cf::plist {

namespace {

// Beyond so many neighbours in the table somebody has prepared colliding texts: such strings are made anew.
constexpr std::size_t most_probes = 64;

constexpr std::uint64_t mix(std::uint64_t value) {
    value *= 0x9E3779B97F4A7C15U;
    return value ^ value >> 29;
}

template <typename Word>
std::uint64_t load(const char* at) {
    Word word = 0;
    std::memcpy(&word, at, sizeof(word));
    return word;
}

std::uint64_t hash_bytes(std::string_view bytes, std::uint64_t seed) {
    const char* at = bytes.data();
    std::size_t left = bytes.size();
    std::uint64_t hash = mix(seed ^ left);
    for (; left > 8; left -= 8, at += 8)
        hash = mix(hash ^ load<std::uint64_t>(at));
    std::uint64_t last = 0;
    if (left >= 4) {
        last = load<std::uint32_t>(at) << 32 | load<std::uint32_t>(at + left - 4);
    } else if (left > 0) {
        last = load<std::uint8_t>(at) << 16 | load<std::uint8_t>(at + left / 2) << 8 |
               load<std::uint8_t>(at + left - 1);
    }
    return mix(hash ^ last);
}

// Whether a string has the text that `utf8` is, which need not be well formed.
bool is_text(CFStringRef string, std::string_view utf8) {
    const text_view text = view(string);
    if (!text.wide) return text.narrow() == utf8;
    const std::span<const UniChar> units = text.utf16();
    std::size_t index = 0;
    const char* at = utf8.data();
    const char* end = at + utf8.size();
    while (at < end && index < units.size()) {
        // Two ill-formed texts are never compared: no string was made of the first one.
        if (decode_utf8(at, end) != decode_utf16(units, index)) return false;
    }
    return at == end && index == units.size();
}

// The counts of strings that no other thread knows yet.
void retain_alone(CFStringRef string) {
    const std::int32_t references = string->references.load(std::memory_order_relaxed);
    if (references >= 0) string->references.store(references + 1, std::memory_order_relaxed);
}
void release_alone(CFStringRef string) {
    const std::int32_t references = string->references.load(std::memory_order_relaxed);
    if (references == 1) {
        release(string);
    } else if (references > 1) {
        string->references.store(references - 1, std::memory_order_relaxed);
    }
}

} // namespace

CFDataRef create_data(CFAllocatorRef allocator, std::span<const UInt8> bytes, bool is_mutable) {
    const auto size = static_cast<CFIndex>(bytes.size());
    if (!is_mutable) return CFDataCreate(allocator, bytes.data(), size);
    owned<CFMutableDataRef> data(CFDataCreateMutable(allocator, 0));
    if (!data) return nullptr;
    CFDataAppendBytes(data.get(), bytes.data(), size);
    return CFDataGetLength(data.get()) == size ? data.detach() : nullptr;
}

string_maker::string_maker(CFAllocatorRef allocator, bool mutable_strings, std::size_t text_size)
    : allocator_(allocator), mutable_(mutable_strings),
      // Strings are seldom shorter than 32 characters with their tags; what comes more often than once does
      // not count.
      first_size_(std::bit_ceil(std::clamp<std::size_t>(text_size / 32, 16, 2048))) {}

string_maker::~string_maker() {
    for (const slot& each : slots_) {
        if (each.string != nullptr) release_alone(each.string);
    }
}

CFStringRef string_maker::create(std::string_view utf8, bool ascii) const {
    if (ascii) {
        const char* units = utf8.data();
        const auto count = static_cast<CFIndex>(utf8.size());
        return need(mutable_ ? create_mutable_string(allocator_, {units, count, false})
                             : create_ascii_string(allocator_, utf8));
    }
    const std::ptrdiff_t length = utf16_length(utf8);
    if (length < 0) return nullptr;
    if (mutable_) {
        std::vector<UniChar> units(static_cast<std::size_t>(length));
        utf8_to_utf16(utf8, units.data());
        return need(create_mutable_string(allocator_, {units.data(), static_cast<CFIndex>(length), true}));
    }
    UniChar* units = nullptr;
    const CFStringRef made = need(create_wide_string(allocator_, static_cast<std::size_t>(length), &units));
    utf8_to_utf16(utf8, units);
    return made;
}

CFStringRef string_maker::make(std::string_view utf8, bool ascii) {
    if (mutable_) return create(utf8, ascii);
    if (used_ * 4 >= slots_.size() * 3) grow();
    const auto hash = static_cast<std::uint32_t>(hash_bytes(utf8, seed_) >> 32);
    const auto size = static_cast<std::uint32_t>(utf8.size());
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    for (std::size_t probes = 0; slots_[at].string != nullptr; at = (at + 1) & mask) {
        const slot& each = slots_[at];
        if (each.hash == hash && each.size == size && is_text(each.string, utf8)) {
            retain_alone(each.string);
            return each.string;
        }
        if (++probes == most_probes) return create(utf8, ascii);
    }
    const CFStringRef made = create(utf8, ascii);
    if (made == nullptr) return nullptr;
    retain_alone(made);
    slots_[at] = {hash, size, made};
    ++used_;
    return made;
}

void string_maker::grow() {
    std::vector<slot> larger(slots_.empty() ? first_size_ : slots_.size() * 4);
    const std::size_t mask = larger.size() - 1;
    for (const slot& each : slots_) {
        if (each.string == nullptr) continue;
        std::size_t at = each.hash & mask;
        while (larger[at].string != nullptr)
            at = (at + 1) & mask;
        larger[at] = each;
    }
    slots_.swap(larger);
}

} // namespace cf::plist
