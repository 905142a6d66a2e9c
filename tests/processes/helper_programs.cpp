#include "helper_programs.h"

#include <windows.h>

QV::filesystem::path helper_program(const std::string& name) {
    wchar_t self[32768];
    GetModuleFileNameW(nullptr, self, 32768);
    return QV::filesystem::path(self).parent_path() / (name + ".exe");
}

unsigned long open_handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}
