// The exported functions for property lists.
#include <CoreFoundation/CFPropertyList.h>

#include "plist_binary_reader.h"
#include "plist_binary_writer.h"
#include "plist_copy.h"
#include "plist_encoding.h"
#include "plist_error.h"
#include "plist_oldstyle_reader.h"
#include "plist_xml_reader.h"
#include "plist_xml_writer.h"

namespace cf::plist {

namespace {

// Which readers are tried; all of them if an options argument names none.
constexpr CFOptionFlags only_oldstyle = 1U << 8;
constexpr CFOptionFlags only_binary = 1U << 9;
constexpr CFOptionFlags only_xml = 1U << 10;
constexpr CFOptionFlags all_readers = only_oldstyle | only_binary | only_xml;

// Short enough to need no memory itself.
constexpr const char* no_memory = "Out of memory";

mutability mutability_of(CFOptionFlags options) {
    const CFOptionFlags level = options & 0xFF;
    return {level != kCFPropertyListImmutable, level == kCFPropertyListMutableContainersAndLeaves};
}

// Tries one reader after the other. Binary lists tell what they are; whatever is no XML may be an old-style
// text.
CFTypeRef read_any(CFAllocatorRef allocator, std::string_view bytes, CFOptionFlags options,
                   CFPropertyListFormat& format, read_problem& problem) {
    const mutability mutable_parts = mutability_of(options);
    const CFOptionFlags readers = (options & all_readers) == 0 ? all_readers : options & all_readers;
    if ((readers & only_binary) != 0) {
        format = kCFPropertyListBinaryFormat_v1_0;
        if (const CFTypeRef value = read_binary(allocator, bytes, mutable_parts); value != nullptr)
            return value;
        problem.text = "The data is not a binary property list";
    }
    if ((readers & (only_xml | only_oldstyle)) == 0) return nullptr;
    utf8_text text;
    find_text(bytes, text);
    if (!text.problem.empty()) {
        problem.text = text.problem;
        if (!text.unknown_encoding) problem.oldstyle = "Conversion of string failed.";
        return nullptr;
    }
    if ((readers & only_xml) != 0) {
        format = kCFPropertyListXMLFormat_v1_0;
        const CFTypeRef value = read_xml(allocator, text.text, mutable_parts, problem.text);
        if (value != nullptr || (readers & only_oldstyle) == 0) return value;
    }
    format = kCFPropertyListOpenStepFormat;
    std::string& oldstyle = (readers & only_xml) != 0 ? problem.oldstyle : problem.text;
    return read_oldstyle(allocator, text.text, mutable_parts, oldstyle);
}

CFTypeRef read(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options, CFPropertyListFormat& format,
               read_problem& problem) {
    if (!is(data, type::data) || CFDataGetLength(data) == 0) {
        problem.text = "Cannot parse a NULL or zero-length data";
        return nullptr;
    }
    const auto* bytes = reinterpret_cast<const char*>(CFDataGetBytePtr(data));
    const auto size = static_cast<std::size_t>(CFDataGetLength(data));
    try {
        return read_any(allocator, {bytes, size}, options, format, problem);
    } catch (const std::bad_alloc&) {
        problem = {no_memory, {}};
        return nullptr;
    }
}

CFDataRef write(CFAllocatorRef allocator, CFTypeRef value, CFPropertyListFormat format,
                std::string& problem) {
    try {
        return format == kCFPropertyListXMLFormat_v1_0 ? write_xml(allocator, value, problem)
                                                       : write_binary(allocator, value, problem);
    } catch (const std::bad_alloc&) {
        problem = no_memory;
        return nullptr;
    }
}

} // namespace

} // namespace cf::plist

using cf::plist::read_problem;

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error) {
    CFPropertyListFormat found = 0;
    read_problem problem;
    const CFTypeRef value = cf::plist::read(allocator, data, options, found, problem);
    if (value == nullptr) {
        if (error != nullptr) *error = cf::plist::create_read_error(allocator, problem);
        return nullptr;
    }
    if (format != nullptr) *format = found;
    return value;
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error) {
    static_cast<void>(options); // None is defined.
    if (format != kCFPropertyListXMLFormat_v1_0 && format != kCFPropertyListBinaryFormat_v1_0) return nullptr;
    std::string problem;
    const CFDataRef data = cf::plist::write(allocator, propertyList, format, problem);
    if (data == nullptr && error != nullptr)
        *error = cf::plist::create_write_error(allocator, format, problem);
    return data;
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                  CFOptionFlags mutabilityOption, CFStringRef* errorString) {
    if (errorString != nullptr) *errorString = nullptr;
    CFPropertyListFormat format = 0;
    read_problem problem;
    const CFTypeRef value = cf::plist::read(allocator, xmlData, mutabilityOption, format, problem);
    if (value == nullptr && errorString != nullptr)
        *errorString = CFStringCreateWithCString(allocator, problem.text.c_str(), kCFStringEncodingUTF8);
    return value;
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef propertyList) {
    return CFPropertyListCreateData(allocator, propertyList, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                               CFOptionFlags mutabilityOption) {
    try {
        return cf::plist::deep_copy(allocator, propertyList, cf::plist::mutability_of(mutabilityOption));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format) {
    try {
        const std::string refusal = format == kCFPropertyListBinaryFormat_v1_0
                                        ? cf::plist::binary_refusal(plist)
                                        : cf::plist::refusal(plist, format);
        return refusal.empty() ? 1 : 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}
