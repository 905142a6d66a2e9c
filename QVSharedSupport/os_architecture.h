#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace QV {

/// The calls by which the system is asked for a function that it may not have, so that a test can let it lack
/// it.
struct module_calls {
    decltype(&GetModuleHandleW) get_module;
    decltype(&GetProcAddress) get_function;
};

/// The calls of the system.
extern const module_calls system_module_calls;

/// The machine number of the processor; no value if the system cannot be asked.
std::optional<USHORT> native_machine(const module_calls& calls) noexcept;

/// The name of a machine number (`IMAGE_FILE_MACHINE_...`).
std::string machine_name(USHORT machine);

/// `get_os_arch` by these calls.
std::string os_arch(const module_calls& calls);

} // namespace QV
