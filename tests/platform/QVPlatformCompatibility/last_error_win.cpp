#include "last_error.h"

#include <windows.h>

namespace test {

void set_last_error(unsigned long code) {
    SetLastError(code);
}

unsigned long last_error() {
    return GetLastError();
}

} // namespace test
