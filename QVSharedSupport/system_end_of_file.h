#pragma once

#include <boost/system/error_code.hpp>

namespace QV {

/// Whether `code` is the operating system's own way to say that a file has ended.
bool is_system_end_of_file(const boost::system::error_code& code) noexcept;

} // namespace QV
