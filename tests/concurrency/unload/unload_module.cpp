// Loads a library that uses a queue and unloads it, and with it the last reference to what the queue's worker
// is running, again and again. Ends with 0 if nothing crashed and nothing stayed loaded.
#include <windows.h>

int wmain() {
    for (int round = 0; round < 50; ++round) {
        const HMODULE module = LoadLibraryW(L"unloaded_module.dll");
        if (!module) return 2;
        const auto use_queue =
            reinterpret_cast<HANDLE (*)()>(reinterpret_cast<void (*)()>(GetProcAddress(module, "use_queue")));
        if (!use_queue) return 3;
        const HANDLE worker = use_queue();
        if (!worker) return 4;
        FreeLibrary(module);
        if (WaitForSingleObject(worker, INFINITE) != WAIT_OBJECT_0) return 5;
        CloseHandle(worker);
        if (GetModuleHandleW(L"QVSharedSupport.dll")) return 6;
    }
    return 0;
}
