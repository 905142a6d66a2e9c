#include "system_end_of_file.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

namespace QV {

bool is_system_end_of_file(const std::error_code& code) noexcept {
    return code == win::make_error_code(ERROR_HANDLE_EOF);
}

} // namespace QV
