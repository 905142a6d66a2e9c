#pragma once

#include <windows.h>

#include <string>

namespace QV {

/// The calls that read the version of a file, so that a test can let each fail.
struct file_version_calls {
    decltype(&GetFileVersionInfoSizeA) get_size;
    decltype(&GetFileVersionInfoA) get_info;
    decltype(&VerQueryValueA) query_value;
};

/// The calls of the system.
extern const file_version_calls system_file_version_calls;

/// The four numbers of the file version, joined by ".".
std::string file_version_text(const VS_FIXEDFILEINFO& info);

/// `get_os_version` by these calls. @throws std::runtime_error as that
std::string os_version(const file_version_calls& calls);

} // namespace QV
