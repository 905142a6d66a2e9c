#include <QVSharedSupport/sanitize.h>

#include <QVSharedSupport/error_dictionary.h>

#include "graph_copy.h"

#include <stdexcept>

namespace {

class sanitised_copy final : public QV::graph_copy {
public:
    explicit sanitised_copy(bool leaves_gaps) noexcept : leaves_gaps_(leaves_gaps) {}

private:
    CF::AutoPointer leaf(CFTypeRef value) override {
        const CFTypeID type = CFGetTypeID(value);
        if (type == CFErrorGetTypeID()) return QV::DictionaryFromError(CF::Error(value));
        const bool plain = type == CFStringGetTypeID() || type == CFNumberGetTypeID() ||
                           type == CFBooleanGetTypeID() || type == CFDateGetTypeID() ||
                           type == CFDataGetTypeID();
        return plain ? CF::AutoPointer(value) : CF::AutoPointer();
    }
    CF::AutoPointer cycle() override { return {}; }
    CF::AutoPointer replacement(CFTypeRef, CFTypeRef) override { return {}; }
    bool accepts_key(CFTypeRef key) override {
        return key != nullptr && CFGetTypeID(key) == CFStringGetTypeID();
    }
    bool leaves_gaps() const override { return leaves_gaps_; }

    bool leaves_gaps_;
};

} // namespace

namespace QV {

CF::AutoPointer sanitize_for_xml(const void* value, on_error error) {
    CF::AutoPointer sanitised = sanitised_copy(error == on_error::leave_out).run(value);
    if (!sanitised && error == on_error::throw_error)
        throw std::runtime_error("Could not convert to xml plist");
    return sanitised;
}

CF::AutoPointer sanitize_for_xml(const CF::Type& value, on_error error) {
    return sanitize_for_xml(value.get(), error);
}

} // namespace QV
