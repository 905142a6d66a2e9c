#include "error_text.h"

#include "windows_text.h"

#include <memory>

#include <windows.h>

namespace QV::error_text {

unsigned long last_code() noexcept {
    return GetLastError();
}

void set_last_code(unsigned long code) noexcept {
    SetLastError(code);
}

std::string system_text(unsigned long code) {
    wchar_t* text = nullptr;
    // With FORMAT_MESSAGE_ALLOCATE_BUFFER the parameter is where the address goes, whatever its declared
    // type.
    const DWORD size = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                          FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                      nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    const std::unique_ptr<wchar_t, decltype(&LocalFree)> owner(text, &LocalFree);
    return size == 0 ? std::string() : windows_text::to_utf8({text, size});
}

} // namespace QV::error_text
