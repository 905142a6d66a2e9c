#include <QVSharedSupport/redact_passwords.h>

#include "graph_copy.h"

#include <CFAdapters/String.h>

#include <new>

namespace {

// Made as the library loads: what is looked for, and what stands in its place, must not be missing for want
// of memory.
const CF::String password(CFSTR("password"));
const CF::String redacted(CFSTR("<redacted>"));

bool names_a_password(CFTypeRef key) noexcept {
    if (key == nullptr || CFGetTypeID(key) != CFStringGetTypeID()) return false;
    return CFStringFind(static_cast<CFStringRef>(key), password.get(), kCFCompareCaseInsensitive).location !=
           kCFNotFound;
}

bool may_be_shown(CFTypeRef value) noexcept {
    if (value == nullptr) return true;
    const CFTypeID type = CFGetTypeID(value);
    return type == CFBooleanGetTypeID() || type == CFNullGetTypeID() || type == CFURLGetTypeID();
}

class redacted_copy final : public QV::graph_copy {
    CF::AutoPointer leaf(CFTypeRef value) override { return CF::AutoPointer(value); }
    // Whatever the log's reader would do with an endless value, it would be no help.
    CF::AutoPointer cycle() override { return CF::AutoPointer(CFSTR("<cycle>")); }
    CF::AutoPointer replacement(CFTypeRef key, CFTypeRef value) override {
        return names_a_password(key) && !may_be_shown(value) ? CF::AutoPointer(redacted) : CF::AutoPointer();
    }
    bool accepts_key(CFTypeRef key) override { return key != nullptr; }
    bool leaves_gaps() const override { return true; }
};

} // namespace

namespace QV {

redact_passwords::redact_passwords(const CF::Type& value) noexcept : value_(value.get()) {}

redact_passwords::redact_passwords(const void* value) noexcept : value_(value) {}

CF::AutoPointer redact_passwords::get_redacted() const {
    if (!password || !redacted) throw std::bad_alloc(); // none was left to load this library with
    return redacted_copy().run(value_);
}

} // namespace QV
