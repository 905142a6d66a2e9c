#pragma once

#include <system_error>

namespace QV {

/// Whether `code` is the operating system's own way to say that a file has ended.
bool is_system_end_of_file(const std::error_code& code) noexcept;

} // namespace QV
