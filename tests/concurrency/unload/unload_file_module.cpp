// Loads a library that uses a file and unloads it, again and again. A file's context has a thread that nobody
// can wait for while libraries are unloaded: ends with 0 if the library with that thread has stayed.
#include <windows.h>

int wmain() {
    for (int round = 0; round < 10; ++round) {
        const HMODULE module = LoadLibraryW(L"file_module.dll");
        if (!module) return 2;
        const auto use_file =
            reinterpret_cast<bool (*)()>(reinterpret_cast<void (*)()>(GetProcAddress(module, "use_file")));
        if (!use_file) return 3;
        if (!use_file()) return 4;
        FreeLibrary(module);
        if (GetModuleHandleW(L"file_module.dll")) return 5;
        if (!GetModuleHandleW(L"QVSharedSupport.dll")) return 6;
    }
    return 0;
}
