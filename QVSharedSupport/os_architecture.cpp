#include "os_architecture.h"

namespace QV {

const module_calls system_module_calls = {&GetModuleHandleW, &GetProcAddress};

std::optional<USHORT> native_machine(const module_calls& calls) noexcept {
    const HMODULE kernel = calls.get_module(L"kernel32");
    if (kernel == nullptr) return std::nullopt;
    // Looked up, because Windows before version 10 does not have it.
    const FARPROC function = calls.get_function(kernel, "IsWow64Process2");
    if (function == nullptr) return std::nullopt;
    using signature = BOOL WINAPI(HANDLE, USHORT*, USHORT*);
    const auto ask = reinterpret_cast<signature*>(reinterpret_cast<void (*)()>(function));
    USHORT process = 0;
    USHORT native = 0;
    if (!ask(GetCurrentProcess(), &process, &native)) return std::nullopt;
    return native;
}

std::string machine_name(USHORT machine) {
    switch (machine) {
    case IMAGE_FILE_MACHINE_UNKNOWN:
        return "UNKNOWN";
    case IMAGE_FILE_MACHINE_I386:
        return "I386";
    case IMAGE_FILE_MACHINE_ARM:
        return "ARM";
    case IMAGE_FILE_MACHINE_ARMNT:
        return "ARMNT";
    case IMAGE_FILE_MACHINE_AMD64:
        return "AMD64";
    case IMAGE_FILE_MACHINE_ARM64:
        return "ARM64";
    default:
        return "UNKNOWN" + std::to_string(machine);
    }
}

std::string os_arch(const module_calls& calls) {
    // Systems that cannot tell are all older than Windows for ARM64.
    return machine_name(native_machine(calls).value_or(IMAGE_FILE_MACHINE_AMD64));
}

} // namespace QV
