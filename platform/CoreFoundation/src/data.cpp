#include "data_storage.h"

#include "string_storage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <string>

namespace {

using cf::object;

constexpr CFIndex longest = std::numeric_limits<CFIndex>::max() / 4;

UInt8* inline_bytes(__CFData& data) {
    return reinterpret_cast<UInt8*>(&data + 1);
}

// Makes an object with room for `capacity` bytes behind it; null for want of memory.
__CFData* make_data(CFAllocatorRef allocator, CFIndex capacity) {
    if (capacity > longest) return nullptr;
    auto* made = cf::make<__CFData>(allocator, cf::type::data, static_cast<std::size_t>(capacity));
    if (made == nullptr) return nullptr;
    made->capacity = capacity;
    made->bytes = inline_bytes(*made);
    return made;
}

__CFData* changeable(CFMutableDataRef data) {
    return cf::is_mutable(data, cf::type::data) ? data : nullptr;
}

// Makes room for `length` bytes. False, and nothing changed, for want of memory.
bool reserve(__CFData& data, CFIndex length) {
    if (length <= data.capacity) return true;
    if (length > longest) return false;
    const CFIndex capacity = std::max<CFIndex>({length, data.capacity + data.capacity / 2, 16});
    void* made = nullptr;
    if (data.bytes == inline_bytes(data)) {
        made = cf::allocate(data.allocator, static_cast<std::size_t>(capacity));
        if (made != nullptr) std::memcpy(made, data.bytes, static_cast<std::size_t>(data.length));
    } else {
        made = cf::reallocate(data.allocator, data.bytes, static_cast<std::size_t>(capacity));
    }
    if (made == nullptr) return false;
    data.bytes = static_cast<UInt8*>(made);
    data.capacity = capacity;
    return true;
}

void finalize(object& self) {
    auto& data = static_cast<__CFData&>(self);
    if (data.detail == cf::data_is_external) {
        cf::deallocate(data.bytes_allocator, data.bytes);
        if (data.bytes_allocator != nullptr) cf::release(data.bytes_allocator);
    } else if (data.bytes != inline_bytes(data)) {
        cf::deallocate(data.allocator, data.bytes);
    }
}

bool equal_data(const object& a, const object& b) {
    const auto& first = static_cast<const __CFData&>(a);
    const auto& second = static_cast<const __CFData&>(b);
    return first.length == second.length &&
           (first.length == 0 ||
            std::memcmp(first.bytes, second.bytes, static_cast<std::size_t>(first.length)) == 0);
}

// All bytes count: data is a key in lists from outside, which must not be able to make all keys collide.
CFHashCode hash_data(const object& self) {
    const auto& data = static_cast<const __CFData&>(self);
    std::uint64_t sum = cf::hash_seed() ^ static_cast<std::uint64_t>(data.length);
    CFIndex i = 0;
    const auto mix_in = [&sum](std::uint64_t word) {
        sum = (sum ^ word) * 0xD6E8FEB86659FD93U;
        sum ^= sum >> 32U;
    };
    for (; i + 8 <= data.length; i += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, data.bytes + i, 8);
        mix_in(word);
    }
    for (; i < data.length; ++i)
        mix_in(data.bytes[i]);
    return sum;
}

CFStringRef describe(const object& self) {
    const auto& data = static_cast<const __CFData&>(self);
    const cf::owned<CFStringRef> heading(cf::copy_heading(self, "CFData"));
    if (!heading) return nullptr;
    try {
        std::string text;
        const auto append = [&text, &data](CFIndex from, CFIndex to) {
            constexpr std::string_view digits = "0123456789abcdef";
            for (CFIndex i = from; i < to; ++i) {
                text += digits[data.bytes[i] >> 4U];
                text += digits[data.bytes[i] & 0xFU];
            }
        };
        constexpr CFIndex shown_whole = 24;
        if (data.length <= shown_whole) {
            append(0, data.length);
        } else {
            append(0, 16);
            text += " ... ";
            append(data.length - 8, data.length);
        }
        return CFStringCreateWithFormat(
            nullptr, nullptr, CFSTR("%@{length = %lld, capacity = %lld, bytes = 0x%s}"), heading.get(),
            cf::as_long_long(data.length), cf::as_long_long(data.is_mutable ? data.capacity : data.length),
            text.c_str());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

namespace cf {

constinit const type_info data_type_info = {"CFData", false, finalize, equal_data, hash_data, describe};

CFDataRef create_data(CFAllocatorRef allocator, CFIndex length, UInt8** storage) {
    __CFData* made = make_data(allocator, length);
    if (made == nullptr) return nullptr;
    made->length = length;
    *storage = made->bytes;
    return made;
}

} // namespace cf

CFTypeID CFDataGetTypeID() {
    return static_cast<CFTypeID>(cf::type::data);
}

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) {
    if (length < 0 || (length > 0 && bytes == nullptr)) return nullptr;
    UInt8* storage = nullptr;
    CFDataRef made = cf::create_data(allocator, length, &storage);
    if (made != nullptr && length > 0) std::memcpy(storage, bytes, static_cast<std::size_t>(length));
    return made;
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef bytesDeallocator) {
    if (length < 0 || (length > 0 && bytes == nullptr)) return nullptr;
    __CFData* made = make_data(allocator, 0);
    if (made == nullptr) return nullptr;
    made->detail = cf::data_is_external;
    made->bytes = const_cast<UInt8*>(bytes);
    made->length = length;
    made->capacity = length;
    made->bytes_allocator = cf::resolve(bytesDeallocator);
    if (made->bytes_allocator != nullptr) cf::retain(made->bytes_allocator);
    return made;
}

CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef theData) {
    if (!cf::is(theData, cf::type::data)) return nullptr;
    // Bytes that are used where they are may go away; a copy is what keeps them.
    const bool is_shared = !theData->is_mutable && theData->detail != cf::data_is_external &&
                           cf::resolve(allocator) == theData->allocator;
    if (!is_shared) return CFDataCreate(allocator, theData->bytes, theData->length);
    cf::retain(theData);
    return theData;
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity) {
    if (capacity < 0) return nullptr;
    // A hint of any size must not be what makes the call fail.
    __CFData* made = make_data(allocator, std::min<CFIndex>(capacity, 1024));
    if (made != nullptr) made->is_mutable = true;
    return made;
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef theData) {
    if (capacity < 0 || !cf::is(theData, cf::type::data)) return nullptr;
    __CFData* made = make_data(allocator, std::max(theData->length, std::min<CFIndex>(capacity, 1024)));
    if (made == nullptr) return nullptr;
    made->is_mutable = true;
    made->length = theData->length;
    if (made->length > 0) std::memcpy(made->bytes, theData->bytes, static_cast<std::size_t>(made->length));
    return made;
}

CFIndex CFDataGetLength(CFDataRef theData) {
    return cf::is(theData, cf::type::data) ? theData->length : 0;
}

const UInt8* CFDataGetBytePtr(CFDataRef theData) {
    return cf::is(theData, cf::type::data) && theData->length > 0 ? theData->bytes : nullptr;
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData) {
    const __CFData* data = changeable(theData);
    return data != nullptr && data->length > 0 ? data->bytes : nullptr;
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
    if (!cf::is(theData, cf::type::data) || buffer == nullptr || !cf::contains(theData->length, range))
        return;
    if (range.length > 0)
        std::memcpy(buffer, theData->bytes + range.location, static_cast<std::size_t>(range.length));
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
    __CFData* data = changeable(theData);
    if (data == nullptr || length < 0 || !reserve(*data, length)) return;
    if (length > data->length)
        std::memset(data->bytes + data->length, 0, static_cast<std::size_t>(length - data->length));
    data->length = length;
}

void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength) {
    const __CFData* data = changeable(theData);
    if (data == nullptr || extraLength < 0 || extraLength > longest - data->length) return;
    CFDataSetLength(theData, data->length + extraLength);
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
    CFDataReplaceBytes(theData, CFRangeMake(CFDataGetLength(theData), 0), bytes, length);
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes, CFIndex newLength) {
    __CFData* data = changeable(theData);
    if (data == nullptr || newLength < 0 || (newLength > 0 && newBytes == nullptr) ||
        !cf::contains(data->length, range))
        return;
    const CFIndex kept = data->length - range.length;
    if (newLength > longest - kept) return;
    // Bytes that come from this object itself are set aside before they move.
    cf::owned<CFDataRef> copy;
    if (newLength > 0 && newBytes >= data->bytes && newBytes < data->bytes + data->capacity) {
        copy = cf::owned(CFDataCreate(nullptr, newBytes, newLength));
        if (!copy) return;
        newBytes = copy.get()->bytes;
    }
    if (!reserve(*data, kept + newLength)) return;
    UInt8* const at = data->bytes + range.location;
    std::memmove(at + newLength, at + range.length, static_cast<std::size_t>(kept - range.location));
    if (newLength > 0) std::memcpy(at, newBytes, static_cast<std::size_t>(newLength));
    data->length = kept + newLength;
}

void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range) {
    CFDataReplaceBytes(theData, range, nullptr, 0);
}
