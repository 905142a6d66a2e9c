/// Aids for finding faults: where the program is, and a crash on demand. The second part can be included from
/// C.
///
/// Thread safety: any thread at any time. Windows only.
#ifndef QVSHAREDSUPPORT_DEBUG_H
#define QVSHAREDSUPPORT_DEBUG_H

#include <QVSharedSupport/export.h>

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus

#include <string>

namespace QV::SharedSupport::Debug {

/// Who called whom, for the log: a line for each function that the calling thread is in, the innermost, this
/// function's caller, first.
///
///      0 host!restore_device+0x1a4
///      1 host!main+0x52
///     ...
///     10 KERNEL32.DLL+0x17034
///
/// Function names come from the system's debugging engine and need symbol files; where it knows none, the
/// line has the module and the offset in it, enough to look the name up later, and an address alone for code
/// that is in no module. The text is UTF-8; not more than 256 functions are listed.
///
/// Slow, milliseconds and more: the engine looks at the whole process, and one thread at a time. Other
/// threads wait for their turn. Never throws: without the engine there are no names, for want of memory there
/// is no text. Not to be called while the loader's lock is held (`DllMain`).
[[nodiscard]] QV_EXPORT std::string get_backtrace() noexcept;

} // namespace QV::SharedSupport::Debug

#endif

CF_EXTERN_C_BEGIN

/// The text of `QV::SharedSupport::Debug::get_backtrace()`, to be released by the caller; NULL only for want
/// of memory.
QV_EXPORT CFStringRef QXDebugCreateTraceString(void);

/// Ends the process with an access violation (reading address 0), for trying out what reports crashes.
/// Does not return.
QV_EXPORT void QXDebugCrashApplication(void);

CF_EXTERN_C_END

#endif
