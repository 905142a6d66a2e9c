#include "last_error.h"

#include <cerrno>

namespace test {

void set_last_error(unsigned long code) {
    errno = static_cast<int>(code);
}

unsigned long last_error() {
    return static_cast<unsigned long>(errno);
}

} // namespace test
