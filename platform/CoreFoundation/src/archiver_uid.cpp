#include "archiver_uid.h"

#include <CoreFoundation/CFString.h>

namespace cf {

const archiver_uid* create_archiver_uid(CFAllocatorRef allocator, std::uint32_t value) {
    auto* uid = make<archiver_uid>(allocator, type::archiver_uid);
    if (uid != nullptr) uid->value = value;
    return uid;
}

namespace {

CFStringRef describe(const object& self) {
    const auto& uid = static_cast<const archiver_uid&>(self);
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<CFKeyedArchiverUID %p [%p]>{value = %u}"),
                                    &self, CFGetAllocator(&self), static_cast<unsigned>(uid.value));
}

CFStringRef copy_formatted_uid(const object& self) {
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("@%u@"),
                                    static_cast<const archiver_uid&>(self).value);
}

} // namespace

constinit const type_info archiver_uid_type_info = {
    "CFKeyedArchiverUID", false, nullptr, nullptr, nullptr, describe, copy_formatted_uid};

} // namespace cf
