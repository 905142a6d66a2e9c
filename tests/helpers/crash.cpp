// Says "about to crash" on its standard error, without a line feed, and dies of an access violation.
#include "standard_streams.h"

int wmain() {
    // No dialog and no debugger: the exit code is all that is left.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter([](EXCEPTION_POINTERS* what) -> LONG {
        TerminateProcess(GetCurrentProcess(), what->ExceptionRecord->ExceptionCode);
        return EXCEPTION_EXECUTE_HANDLER;
    });
    helpers::write_error("about to crash");
    volatile int* const nowhere = nullptr;
    *nowhere = 1;
    return 0;
}
