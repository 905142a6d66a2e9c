#pragma once

#include <cstddef>

/// The memory of this program that is in use through `operator new`, in bytes as the allocator gives them,
/// the libraries' own included: they are loaded into it.
std::size_t bytes_in_use() noexcept;
