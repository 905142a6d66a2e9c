#include "backtrace.h"

#include "utf.h"

#include <fmt/format.h>

#include <windows.h>

#include <filesystem>
#include <memory>
#include <type_traits>

namespace QV {
namespace {

struct module_release {
    void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};
/// Keeps a module loaded.
using module_reference = std::unique_ptr<std::remove_pointer_t<HMODULE>, module_release>;

/// The module that has code at the address; empty if none has.
module_reference module_at(std::uintptr_t address) noexcept {
    if (address == 0) return nullptr; // which would stand for the program itself
    HMODULE module = nullptr;
    // "from address" takes an address where a name would be.
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const wchar_t*>(address),
                            &module))
        return nullptr;
    return module_reference(module);
}

/// The module's file name without its folder, in UTF-8.
std::string file_name(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            break;
        }
        path.resize(path.size() * 2);
    }
    const std::wstring name = std::filesystem::path(path).filename().native();
    return utf::to_utf8(std::u16string(name.begin(), name.end()), utf::mode::lenient);
}

} // namespace

std::string describe_frame(void* return_address, const symbol_lookup& find) {
    const auto address = reinterpret_cast<std::uintptr_t>(return_address);
    // The call itself lies before the address it returns to, which may already belong to the next function:
    // nothing follows a call that never returns.
    const std::uintptr_t call = address - 1;
    if (const auto known = find(call)) return fmt::format("{}+0x{:x}", known->name, known->displacement + 1);
    if (const module_reference module = module_at(call))
        return fmt::format("{}+0x{:x}", file_name(module.get()),
                           address - reinterpret_cast<std::uintptr_t>(module.get()));
    return fmt::format("0x{:x}", address);
}

std::string backtrace_text(std::span<void* const> return_addresses, const symbol_lookup& find) {
    std::string text;
    std::size_t index = 0;
    for (void* const return_address : return_addresses)
        text += fmt::format("{:2} {}\n", index++, describe_frame(return_address, find));
    return text;
}

} // namespace QV
