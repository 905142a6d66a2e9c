#include "error_text.h"

#include <cerrno>
#include <system_error>

namespace QV::error_text {

unsigned long last_code() noexcept {
    return static_cast<unsigned long>(errno);
}

void set_last_code(unsigned long code) noexcept {
    errno = static_cast<int>(code);
}

std::string system_text(unsigned long code) {
    return std::system_category().message(static_cast<int>(code));
}

} // namespace QV::error_text
