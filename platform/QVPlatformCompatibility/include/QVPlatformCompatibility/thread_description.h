#pragma once

#include <QVPlatformCompatibility/export.h>

#include <optional>
#include <string>

namespace QV {

/// The calling thread's description as the system keeps it (`GetThreadDescription`), in UTF-16; debuggers
/// show it.
///
/// A thread that was never named has an empty description. No value if the system cannot tell: Windows before
/// version 10 1607 has no descriptions. Elsewhere than on Windows the description is kept by this library.
/// @throws std::bad_alloc
QVPLATFORMCOMPATIBILITY_EXPORT std::optional<std::u16string> get_current_thread_description();

/// Describes the calling thread (`SetThreadDescription`). The text ends at its first NUL. Malformed UTF-16 is
/// kept.
///
/// @return the `HRESULT`: 0 or more is success; `E_NOTIMPL` where the system has no descriptions.
/// @throws std::bad_alloc
QVPLATFORMCOMPATIBILITY_EXPORT int set_current_thread_description(const std::u16string& description);

} // namespace QV
