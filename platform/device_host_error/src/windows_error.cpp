#include <device_host_error/windows_error.h>

namespace libhostdevice::windows {

boost::system::error_code make_error_code(unsigned long error) noexcept {
    return {static_cast<int>(static_cast<unsigned int>(error)), boost::system::system_category()};
}

} // namespace libhostdevice::windows
