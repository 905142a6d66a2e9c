#include "pin_module.h"

#include <windows.h>

namespace QV {

void pin_this_module() noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&pin_this_module), &module);
}

} // namespace QV
