#include <QVSharedSupport/redact_passwords.h>

#include "graph_copy.h"

namespace {

bool names_a_password(CFTypeRef key) noexcept {
    if (key == nullptr || CFGetTypeID(key) != CFStringGetTypeID()) return false;
    return CFStringFind(static_cast<CFStringRef>(key), CFSTR("password"), kCFCompareCaseInsensitive)
               .location != kCFNotFound;
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
        const bool redact = names_a_password(key) && !may_be_shown(value);
        return redact ? CF::AutoPointer(CFSTR("<redacted>")) : CF::AutoPointer();
    }
    bool accepts_key(CFTypeRef key) override { return key != nullptr; }
    bool leaves_gaps() const override { return true; }
};

} // namespace

namespace QV {

redact_passwords::redact_passwords(const CF::Type& value) noexcept : value_(value.get()) {}

redact_passwords::redact_passwords(const void* value) noexcept : value_(value) {}

CF::AutoPointer redact_passwords::get_redacted() const {
    return redacted_copy().run(value_);
}

} // namespace QV
