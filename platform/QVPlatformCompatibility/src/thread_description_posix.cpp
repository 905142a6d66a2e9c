#include <QVPlatformCompatibility/thread_description.h>

namespace QV {

namespace {

// The system's own thread names hold 15 bytes and no UTF-16: too little to serve for what is promised.
thread_local std::u16string this_thread_description;

} // namespace

std::optional<std::u16string> get_current_thread_description() {
    return this_thread_description;
}

int set_current_thread_description(const std::u16string& description) {
    this_thread_description = description.substr(0, description.find(u'\0'));
    return 0;
}

} // namespace QV
