#pragma once

#include <RuntimeLocator/export.h>

#include <filesystem>
#include <optional>

namespace QV::RuntimeLocator {

/// The folder of Apple's mobile device runtime: the one that holds "MobileDevice.dll".
///
/// It is what the runtime's installer wrote down in the registry ("InstallDir" of
/// HKEY_LOCAL_MACHINE\SOFTWARE\Apple Inc.\Apple Mobile Device Support, the 64-bit view before the 32-bit
/// one). Without such an entry it is the folder that the installer uses by default, "Apple\Mobile Device
/// Support" among the common program files. It is always an absolute path; whether anything is installed
/// there, the caller sees when using it.
///
/// Reads the registry on each call: the runtime may be installed while the program runs. Any thread may call
/// it.
/// @throws std::bad_alloc; std::system_error "get_mds_path" if the system does not know its common program
///     files either, which is always so elsewhere than on Windows.
RUNTIMELOCATOR_EXPORT std::filesystem::path get_mds_path();

/// Makes `get_mds_path` return `folder` from now on, for the whole process; no value ends that.
///
/// For tests, and for programs that bring the runtime along. The folder is taken as given. Any thread may
/// call it.
/// @throws std::bad_alloc
RUNTIMELOCATOR_EXPORT void set_mds_path(std::optional<std::filesystem::path> folder);

} // namespace QV::RuntimeLocator
