/* The C interface as a C program uses it. The exit code tells all:
 *     host_in_c trace       0 if a stack trace could be made, read and released
 *     host_in_c setting     1 if Windows looks for drivers by itself, else 0
 *     host_in_c crash       that of the crash, which nobody handles
 *     host_in_c crash-seen  that of the crash if it was a read of address 0, as a crash handler sees it */
#include <QVSharedSupport/debug.h>
#include <QVSharedSupport/host_info.h>

#include <string.h>
#include <windows.h>

static int trace(void) {
    CFStringRef text = QXDebugCreateTraceString();
    if (text == NULL) return 2;
    char buffer[65536];
    int wrong = CFGetTypeID(text) != CFStringGetTypeID() ||
                !CFStringGetCString(text, buffer, sizeof buffer, kCFStringEncodingUTF8) ||
                strstr(buffer, "host_in_c") == NULL;
    CFRelease(text);
    return wrong ? 3 : 0;
}

static LONG WINAPI seen(EXCEPTION_POINTERS* what) {
    const EXCEPTION_RECORD* record = what->ExceptionRecord;
    int as_meant = record->ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record->NumberParameters >= 2 &&
                   record->ExceptionInformation[0] == 0 && record->ExceptionInformation[1] == 0;
    TerminateProcess(GetCurrentProcess(), as_meant ? record->ExceptionCode : 4);
    return EXCEPTION_EXECUTE_HANDLER;
}

int wmain(int count, wchar_t** words) {
    /* No dialog: the exit code is all that is wanted. */
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    if (count != 2) return 5;
    if (wcscmp(words[1], L"trace") == 0) return trace();
    if (wcscmp(words[1], L"setting") == 0) return QXSystemSettingIsWin7AutoDriverDownloadEnabled() ? 1 : 0;
    if (wcscmp(words[1], L"crash-seen") == 0) SetUnhandledExceptionFilter(&seen);
    QXDebugCrashApplication();
    return 6;
}
