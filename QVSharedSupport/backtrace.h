#pragma once

#include "debug_engine.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace QV {

/// Finds the symbol that covers an address; `debug_engine::find`, or what a test has in its place.
using symbol_lookup = std::function<std::optional<symbol>(std::uintptr_t)>;

/// "module!function+0x1f" for a return address, "module.dll+0x1234" if `find` has no name for it, and the
/// address alone if it is in no module. @throws std::bad_alloc
std::string describe_frame(void* return_address, const symbol_lookup& find);

/// A line for each frame: its index, with a blank before it below 10, and its description.
/// @throws std::bad_alloc
std::string backtrace_text(std::span<void* const> return_addresses, const symbol_lookup& find);

} // namespace QV
