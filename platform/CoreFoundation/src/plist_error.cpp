#include "plist_error.h"

#include "string_storage.h"

#include <CoreFoundation/CFPropertyList.h>

#include <new>

namespace cf::plist {

namespace {

constinit const constant_string oldstyle_error_key("kCFPropertyListOldStyleParsingError");

// Messages may quote what was read, which need not be text.
CFStringRef create_message(CFAllocatorRef allocator, const std::string& text) {
    const CFStringRef message = create_utf8_string(allocator, text);
    return message != nullptr ? message : create_ascii_string(allocator, "The text is not well-formed UTF-8");
}

CFErrorRef create_error(CFAllocatorRef allocator, CFIndex code, const std::string& text,
                        CFErrorRef oldstyle) {
    const owned<CFStringRef> message(create_message(allocator, text));
    if (!message) return nullptr;
    const void* keys[] = {kCFErrorDebugDescriptionKey, &oldstyle_error_key};
    const void* values[] = {message.get(), oldstyle};
    return CFErrorCreateWithUserInfoKeysAndValues(allocator, kCFErrorDomainCocoa, code, keys, values,
                                                  oldstyle == nullptr ? 1 : 2);
}

} // namespace

CFErrorRef create_read_error(CFAllocatorRef allocator, const read_problem& problem) {
    constexpr CFIndex code = kCFPropertyListReadCorruptError;
    if (problem.oldstyle.empty()) return create_error(allocator, code, problem.text, nullptr);
    const owned<CFErrorRef> oldstyle(create_error(allocator, code, problem.oldstyle, nullptr));
    return create_error(allocator, code, problem.text, oldstyle.get());
}

CFErrorRef create_write_error(CFAllocatorRef allocator, CFIndex format, const std::string& why) {
    try {
        const std::string text =
            "Property list invalid for format: " + std::to_string(format) + " (" + why + ")";
        return create_error(allocator, kCFPropertyListWriteStreamError, text, nullptr);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace cf::plist
