// A module with a version of its own, which leaves a trace if any of its code is run.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, void*) {
    SetEnvironmentVariableW(L"QV_VERSIONED_MODULE_RAN", L"yes");
    return TRUE;
}
