#pragma once

#include <functional>

namespace qv_test {

/// Runs `work` on a thread with a stack of 1 MiB, what programs on Windows have, and waits for it.
/// With sanitizers the stack is larger, as their frames are.
void run_on_small_stack(const std::function<void()>& work);

} // namespace qv_test
