#pragma once

#include <string>

/// What `win32_error.cpp` needs from the system; one source for each side.
namespace QV::error_text {

/// `GetLastError()` or `errno`.
unsigned long last_code() noexcept;
void set_last_code(unsigned long code) noexcept;

/// The system's text as it gives it, in UTF-8; empty when it has none.
std::string system_text(unsigned long code);

} // namespace QV::error_text
