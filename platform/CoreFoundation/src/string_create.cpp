// Making strings, and the constant ones behind CFSTR.
#include "encodings.h"
#include "string_storage.h"

#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>

namespace {

// The constant strings made so far. They are never freed, so that references taken while a program ends stay
// valid.
struct constant_table {
    std::mutex mutex;
    std::unordered_map<std::string, CFStringRef> strings;
};

constant_table& constants() {
    static auto* const table = new constant_table;
    return *table;
}

std::span<const UInt8> c_string_bytes(const char* text) {
    return {reinterpret_cast<const UInt8*>(text), std::strlen(text)};
}

bool has_bytes(const void* bytes, CFIndex count) {
    return count == 0 || (count > 0 && bytes != nullptr);
}

// A string that uses its units where they are; null for want of memory.
CFStringRef create_external(CFAllocatorRef allocator, const void* units, CFIndex length, bool wide,
                            CFAllocatorRef deallocator) {
    auto* made = cf::make<cf::external_string>(allocator, cf::type::string);
    if (made == nullptr) return nullptr;
    made->detail = static_cast<std::uint16_t>(cf::string_is_external | (wide ? cf::string_is_wide : 0U));
    made->units = units;
    made->length = length;
    made->capacity = length;
    made->units_allocator = cf::resolve(deallocator);
    if (made->units_allocator != nullptr) cf::retain(made->units_allocator);
    return made;
}

// Frees, once a string has been made, the contents that it did not need.
CFStringRef free_contents(CFStringRef made, const void* contents, CFAllocatorRef deallocator) {
    if (made != nullptr) cf::deallocate(cf::resolve(deallocator), const_cast<void*>(contents));
    return made;
}

} // namespace

CFTypeID CFStringGetTypeID() {
    return static_cast<CFTypeID>(cf::type::string);
}

CFStringRef __CFStringMakeConstantString(const char* cStr) { // NOLINT(bugprone-reserved-identifier)
    if (cStr == nullptr) return nullptr;
    constant_table& table = constants();
    const std::lock_guard lock(table.mutex);
    try {
        const auto found = table.strings.find(cStr);
        if (found != table.strings.end()) return found->second;
        cf::owned<CFStringRef> made(cf::create_utf8_string(kCFAllocatorSystemDefault, cStr));
        if (!made) return nullptr;
        // The key is a copy: the literal may belong to a module that is unloaded before the table is looked
        // at again.
        table.strings.emplace(cStr, made.get());
        made.get()->references.store(cf::immortal, std::memory_order_relaxed);
        return made.detach();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CFStringRef CFStringCreateWithPascalString(CFAllocatorRef alloc, const unsigned char* pStr,
                                           CFStringEncoding encoding) {
    if (pStr == nullptr) return nullptr;
    return cf::decode(alloc, {pStr + 1, std::size_t{pStr[0]}}, encoding, false);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding) {
    if (cStr == nullptr) return nullptr;
    return cf::decode(alloc, c_string_bytes(cStr), encoding, false);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
    if (!has_bytes(bytes, numBytes)) return nullptr;
    return cf::decode(alloc, {bytes, static_cast<std::size_t>(numBytes)}, encoding,
                      isExternalRepresentation != 0);
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars) {
    if (!has_bytes(chars, numChars)) return nullptr;
    return cf::create_utf16_string(alloc, {chars, static_cast<std::size_t>(numChars)});
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding,
                                            CFAllocatorRef contentsDeallocator) {
    if (cStr == nullptr) return nullptr;
    const std::string_view text(cStr);
    if (cf::contains_ascii(encoding) && cf::is_ascii(text))
        return create_external(alloc, cStr, static_cast<CFIndex>(text.size()), false, contentsDeallocator);
    return free_contents(CFStringCreateWithCString(alloc, cStr, encoding), cStr, contentsDeallocator);
}

CFStringRef CFStringCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                          CFStringEncoding encoding, Boolean isExternalRepresentation,
                                          CFAllocatorRef contentsDeallocator) {
    // Bytes without a terminator could not serve CFStringGetCStringPtr, so they are copied all the same.
    return free_contents(CFStringCreateWithBytes(alloc, bytes, numBytes, encoding, isExternalRepresentation),
                         bytes, contentsDeallocator);
}

CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars,
                                               CFAllocatorRef contentsDeallocator) {
    if (!has_bytes(chars, numChars)) return nullptr;
    return create_external(alloc, chars, numChars, true, contentsDeallocator);
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str, CFRange range) {
    if (!cf::is(str, cf::type::string)) return nullptr;
    const cf::text_view text = cf::view(str);
    if (!cf::contains(text.length, range)) return nullptr;
    if (!text.wide)
        return cf::create_ascii_string(alloc, text.narrow().substr(static_cast<std::size_t>(range.location),
                                                                   static_cast<std::size_t>(range.length)));
    return cf::create_utf16_string(alloc, text.utf16().subspan(static_cast<std::size_t>(range.location),
                                                               static_cast<std::size_t>(range.length)));
}

CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString) {
    if (!cf::is(theString, cf::type::string)) return nullptr;
    // An object made with another allocator may have to be outlived, and one that borrows its units cannot
    // be.
    if (!theString->is_mutable && (theString->detail & cf::string_is_external) == 0 &&
        cf::resolve(alloc) == theString->allocator) {
        cf::retain(theString);
        return theString;
    }
    if (!theString->is_mutable && theString->references.load(std::memory_order_relaxed) < 0) return theString;
    return CFStringCreateWithSubstring(alloc, theString, CFRangeMake(0, theString->length));
}

CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data,
                                                     CFStringEncoding encoding) {
    if (!cf::is(data, cf::type::data)) return nullptr;
    return CFStringCreateWithBytes(alloc, CFDataGetBytePtr(data), CFDataGetLength(data), encoding, true);
}
