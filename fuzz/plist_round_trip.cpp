#include "plist_round_trip.h"

#include <cstdlib>
#include <memory>
#include <type_traits>

namespace fuzz {

namespace {

struct releaser {
    void operator()(const void* object) const { CFRelease(object); }
};
template <typename Ref>
using owned = std::unique_ptr<std::remove_pointer_t<Ref>, releaser>;
using object = owned<CFTypeRef>;

void require(bool holds) {
    if (!holds) std::abort();
}

object read(CFDataRef data, CFOptionFlags options) {
    constexpr CFPropertyListFormat untouched = -1;
    CFPropertyListFormat format = untouched;
    CFErrorRef raw_error = nullptr;
    object value(CFPropertyListCreateWithData(nullptr, data, options, &format, &raw_error));
    const owned<CFErrorRef> error(raw_error);
    require((value == nullptr) == (error != nullptr));
    require((value == nullptr) == (format == untouched));
    if (error != nullptr) require(owned<CFStringRef>(CFErrorCopyDescription(error.get())) != nullptr);
    return value;
}

// What is written is read, and written again comes out the same. Comparing texts also finds what equality
// does not tell: archive references, and not-a-number dates, are never equal.
void check_format(CFTypeRef value, CFPropertyListFormat format) {
    CFErrorRef raw_error = nullptr;
    const owned<CFDataRef> written(CFPropertyListCreateData(nullptr, value, format, 0, &raw_error));
    const owned<CFErrorRef> error(raw_error);
    require((written == nullptr) == (error != nullptr));
    if (written == nullptr) return;
    const object again = read(written.get(), 0);
    // A writer takes deeper nesting than a reader does: only references among shared objects get that deep.
    require(again != nullptr);
    const owned<CFDataRef> rewritten(CFPropertyListCreateData(nullptr, again.get(), format, 0, nullptr));
    require(rewritten != nullptr);
    if (format == kCFPropertyListXMLFormat_v1_0) require(CFEqual(written.get(), rewritten.get()) != 0);
}

} // namespace

void check_plist(const std::uint8_t* bytes, std::size_t size, readers which) {
    const owned<CFDataRef> data(CFDataCreate(nullptr, bytes, static_cast<CFIndex>(size)));
    const auto options = static_cast<CFOptionFlags>(which);
    const object value = read(data.get(), options);
    for (const CFOptionFlags mutability : {1U, 2U}) {
        const object other = read(data.get(), options | mutability);
        require((value == nullptr) == (other == nullptr));
    }
    if (value == nullptr) return;
    check_format(value.get(), kCFPropertyListXMLFormat_v1_0);
    check_format(value.get(), kCFPropertyListBinaryFormat_v1_0);
    const object copy(
        CFPropertyListCreateDeepCopy(nullptr, value.get(), kCFPropertyListMutableContainersAndLeaves));
}

} // namespace fuzz
