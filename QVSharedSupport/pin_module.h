#pragma once

namespace QV {

/// Keeps this library loaded until the process ends: for what has threads that nobody can wait for while a
/// library is unloaded. Any thread, any number of times.
void pin_this_module() noexcept;

} // namespace QV
