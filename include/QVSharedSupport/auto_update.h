/// Whether the host program may update itself; can be included from C.
#ifndef QVSHAREDSUPPORT_AUTO_UPDATE_H
#define QVSHAREDSUPPORT_AUTO_UPDATE_H

#include <QVSharedSupport/export.h>

#include <CoreFoundation/CoreFoundation.h>

#include <stdbool.h>

CF_EXTERN_C_BEGIN

/// Whether the host may go on with an automatic update: always true on this platform, which asks for nothing
/// to be in place first. Any thread may call it; it does not block.
QV_EXPORT bool QXAutoUpdatePreflight(void);

CF_EXTERN_C_END

#endif
