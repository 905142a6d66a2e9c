// lend_output READY DONE: leaves its standard output and error to a child of its own and waits for ever. The
// child sets the event READY, and ends at the event DONE.
#include "standard_streams.h"

#include <string>

int wmain(int argc, wchar_t** argv) {
    if (argc == 4) {
        SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, argv[1]));
        WaitForSingleObject(OpenEventW(SYNCHRONIZE, FALSE, argv[2]), INFINITE);
        return 0;
    }
    wchar_t self[32768];
    GetModuleFileNameW(nullptr, self, 32768);
    std::wstring line = std::wstring(L"lend_output ") + argv[1] + L' ' + argv[2] + L" child";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(self, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr,
                        &startup, &started))
        return 1;
    WaitForSingleObject(CreateEventW(nullptr, TRUE, FALSE, nullptr), INFINITE);
    return 0;
}
