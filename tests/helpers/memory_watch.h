#pragma once

#include <cstddef>
#include <functional>
#include <new>

namespace test {

/// While it lives, `grant` is asked about every block of memory that operator new wants on this thread, in
/// this program and in every library that it shares the C++ runtime with. Where the answer is false,
/// `std::bad_alloc` is thrown. What `grant` itself allocates is always granted.
///
/// One at a time in the process.
class memory_watch {
public:
    explicit memory_watch(std::function<bool(std::size_t)> grant);
    ~memory_watch();
    memory_watch(const memory_watch&) = delete;
    memory_watch& operator=(const memory_watch&) = delete;

    /// For the allocation functions: whether the block is granted.
    bool asks(std::size_t size) {
        if (asking_) return true;
        asking_ = true;
        const bool granted = grant_(size);
        asking_ = false;
        return granted;
    }

private:
    std::function<bool(std::size_t)> grant_;
    bool asking_ = false;
};

/// While it lives, this thread gets memory for `granted` requests and none for those after.
class failing_memory {
public:
    explicit failing_memory(long granted)
        : left_(granted), watch_([this](std::size_t) {
              if (left_ > 0) {
                  --left_;
                  return true;
              }
              refused_ = true;
              return false;
          }) {}

    /// Whether a request has been refused.
    bool refused() const { return refused_; }

private:
    long left_;
    bool refused_ = false;
    memory_watch watch_;
};

/// Calls `work` with memory for no request at all, for one, for two..., and `check` after each call with
/// whether memory ran out in it; ends when it did not. `work` may throw nothing but `std::bad_alloc`. Returns
/// how often memory ran out.
template <class Work, class Check>
long run_out_of_memory_everywhere(Work work, Check check) {
    for (long granted = 0;; ++granted) {
        bool refused = false;
        {
            const failing_memory memory(granted);
            try {
                work();
            } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): that is what is tried
            }
            refused = memory.refused();
        }
        check(refused);
        if (!refused) return granted;
    }
}

} // namespace test
