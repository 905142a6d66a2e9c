#pragma once

#include <functional>

/// A program with failing_new.cpp among its sources has an operator new that can be made to fail. Elsewhere
/// than on Windows it serves the libraries that the program uses as well.
namespace qv_test {

/// How many blocks this thread has been given so far.
long allocated_blocks() noexcept;
/// How many of them it has, less those it has freed.
long living_blocks() noexcept;

/// From now on this thread is given `count` blocks and no more; any number of them if `count` is negative.
void limit_blocks(long count) noexcept;
/// Whether there is none left of a limited number.
bool is_out_of_blocks() noexcept;

/// Runs `work` with memory for n blocks, for n = 0, 1, 2... until that is enough, and once before.
///
/// `work` has to throw std::bad_alloc where there is no memory; what it throws else, and what it returns
/// from, is taken as it is. Whichever way it ends, it has to have given back what it took.
///
/// Expectations do not belong in it: without memory one that fails cannot even say so. `check`, if there is
/// one, is called with memory enough whenever `work` has returned, and told whether the blocks had run out.
/// It has to let go of what `work` has left.
void run_out_of_memory_everywhere(const std::function<void()>& work,
                                  const std::function<void(bool ran_out)>& check = {});

} // namespace qv_test
