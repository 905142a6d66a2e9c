#pragma once

#include <windows.h>

namespace QV {

/// `VerifyVersionInfoW`, or what a test has in its place to be on another Windows.
using verify_version = decltype(&VerifyVersionInfoW);

/// Whether the system is Windows 8 (6.2) or later.
bool is_windows_8_or_later(verify_version verify) noexcept;

/// Whether the registry says that Windows looks for drivers by itself; false if it cannot be read.
bool search_order_config() noexcept;

/// `QXSystemSettingIsWin7AutoDriverDownloadEnabled` on the Windows that `verify` speaks for.
bool auto_driver_download_enabled(verify_version verify) noexcept;

} // namespace QV
