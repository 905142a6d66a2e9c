// press_ctrl_c PID: does to that process and all others on its console what Ctrl-C there does.
#include "standard_streams.h"

#include <cwchar>

int wmain(int argc, wchar_t** argv) {
    if (argc != 2) return 1;
    FreeConsole();
    if (!AttachConsole(std::wcstoul(argv[1], nullptr, 10))) return 2;
    // This program is on the console too by now, and goes on.
    if (!SetConsoleCtrlHandler(nullptr, TRUE)) return 3;
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) ? 0 : 4;
}
