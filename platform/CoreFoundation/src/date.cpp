#include <CoreFoundation/CFDate.h>

#include "runtime.h"

#include <CoreFoundation/CFString.h>

#include <array>
#include <bit>
#include <chrono>
#include <cstdio>

struct __CFDate
    : cf::object { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    CFAbsoluteTime time;
};

extern "C" {
constinit const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
constinit const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;
}

namespace {

using cf::object;

CFAbsoluteTime time_of(const object& self) {
    return static_cast<const __CFDate&>(self).time;
}

bool equal_date(const object& a, const object& b) {
    return time_of(a) == time_of(b);
}

// The fraction counts: many dates of one second must not collide. Both zeros are equal, and so are their
// hashes.
CFHashCode hash_date(const object& self) {
    const double time = time_of(self);
    return time == 0 || time != time ? 0 : std::bit_cast<std::uint64_t>(time);
}

CFStringRef describe(const object& self) {
    const cf::owned<CFStringRef> heading(cf::copy_heading(self, "CFDate"));
    if (!heading) return nullptr;
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@{time = %.9g}"), heading.get(), time_of(self));
}

} // namespace

namespace cf {

constinit const type_info date_type_info = {"CFDate", false, nullptr, equal_date, hash_date, describe};

} // namespace cf

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
    const std::chrono::duration<double> since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return since_1970.count() - kCFAbsoluteTimeIntervalSince1970;
}

CFTypeID CFDateGetTypeID() {
    return static_cast<CFTypeID>(cf::type::date);
}

CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at) {
    auto* made = cf::make<__CFDate>(allocator, cf::type::date);
    if (made != nullptr) made->time = at;
    return made;
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) {
    return cf::is(theDate, cf::type::date) ? theDate->time : 0;
}

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate) {
    return CFDateGetAbsoluteTime(theDate) - CFDateGetAbsoluteTime(otherDate);
}

CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void*) {
    const CFAbsoluteTime a = CFDateGetAbsoluteTime(theDate);
    const CFAbsoluteTime b = CFDateGetAbsoluteTime(otherDate);
    return a < b ? kCFCompareLessThan : a > b ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
