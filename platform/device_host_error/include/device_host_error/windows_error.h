#pragma once

#include <device_host_error/export.h>

#include <boost/system/error_code.hpp>

namespace libhostdevice::windows {

/// A Windows error, as `GetLastError()` or a call that hands its own back gives it, as a code of
/// `boost::system::system_category()`; 0 is success.
///
/// All 32 bits are kept; codes above 0x7FFFFFFF, an `HRESULT` say, read as negative values. Any thread may
/// call it.
DEVICE_HOST_ERROR_EXPORT boost::system::error_code make_error_code(unsigned long error) noexcept;

} // namespace libhostdevice::windows
