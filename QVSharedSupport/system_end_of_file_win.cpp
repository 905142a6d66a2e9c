#include "system_end_of_file.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

#include <system_error>

namespace QV {

bool is_system_end_of_file(const boost::system::error_code& code) noexcept {
    // Boost's system category and the standard one are two, and with this compiler Boost does not map them.
    return code == boost::system::error_code(ERROR_HANDLE_EOF, boost::system::system_category()) ||
           static_cast<std::error_code>(code) == win::make_error_code(ERROR_HANDLE_EOF);
}

} // namespace QV
