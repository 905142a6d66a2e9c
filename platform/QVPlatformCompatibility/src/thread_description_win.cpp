#include <QVPlatformCompatibility/thread_description.h>

#include "thread_description_calls.h"

namespace QV {

namespace {

const thread_description_calls& system_calls() {
    static const thread_description_calls found = find_thread_description_calls();
    return found;
}

} // namespace

std::optional<std::u16string> get_current_thread_description() {
    return read_thread_description(system_calls());
}

int set_current_thread_description(const std::u16string& description) {
    return write_thread_description(system_calls(), description);
}

} // namespace QV
