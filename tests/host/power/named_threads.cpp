#include "named_threads.h"

#include <QVPlatformCompatibility/win32_module.h>

#include <windows.h>

#include <tlhelp32.h>

std::vector<void*> threads_named(const std::wstring& name) {
    const QV::win32_module module("kernelbase.dll");
    const auto describe = module.get_function<HRESULT WINAPI(HANDLE, PWSTR*)>("GetThreadDescription");
    std::vector<void*> found;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID != GetCurrentProcessId()) continue;
        const HANDLE thread = OpenThread(THREAD_ALL_ACCESS, FALSE, entry.th32ThreadID);
        if (thread == nullptr) continue; // it has ended meanwhile
        PWSTR text = nullptr;
        const bool same = SUCCEEDED(describe(thread, &text)) && text != nullptr && name == text;
        LocalFree(text);
        if (same)
            found.push_back(thread);
        else
            CloseHandle(thread);
    }
    CloseHandle(snapshot);
    return found;
}

int count_threads_named(const std::wstring& name) {
    int running = 0;
    for (void* const thread : threads_named(name)) {
        if (WaitForSingleObject(thread, 0) == WAIT_TIMEOUT) ++running;
        CloseHandle(thread);
    }
    return running;
}
