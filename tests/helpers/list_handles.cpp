// Writes one line for every handle of the process: its value in decimal, then the name of its type. The three
// standard handles come first.
#include "standard_streams.h"

#include <winternl.h>

#include <cstdint>
#include <string>

namespace {

using query_object = NTSTATUS(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);

std::string type_of(query_object query, HANDLE handle) {
    constexpr int type_information = 2;
    alignas(16) unsigned char answer[4096];
    if (query(handle, type_information, answer, sizeof(answer), nullptr) < 0) return "?";
    const auto* const name = reinterpret_cast<const UNICODE_STRING*>(answer);
    std::string text;
    for (int i = 0; i < name->Length / 2; ++i)
        text.push_back(static_cast<char>(name->Buffer[i]));
    return text;
}

} // namespace

int wmain() {
    const auto found = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryObject");
    const auto query = reinterpret_cast<query_object>(reinterpret_cast<void*>(found));
    std::string lines;
    const auto add = [&](HANDLE handle) {
        lines +=
            std::to_string(reinterpret_cast<std::intptr_t>(handle)) + ' ' + type_of(query, handle) + '\n';
    };
    for (const DWORD standard : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
        add(GetStdHandle(standard));
    // Handle values are multiples of four; the tests' processes have a few hundred at most.
    for (std::intptr_t value = 4; value < 0x2000; value += 4) {
        const auto handle = reinterpret_cast<HANDLE>(value);
        DWORD flags = 0;
        if (GetHandleInformation(handle, &flags)) add(handle);
    }
    return helpers::write_out(lines) ? 0 : 1;
}
