#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace qv_test {

/// While it lives, this thread's CoreFoundation objects come from an allocator that has memory for `granted`
/// requests and none for those after.
class failing_allocator {
public:
    explicit failing_allocator(int granted);
    ~failing_allocator();
    failing_allocator(const failing_allocator&) = delete;
    failing_allocator& operator=(const failing_allocator&) = delete;

    /// Whether a request has been refused.
    bool refused() const;

    /// How many blocks of such allocators this thread has not given back.
    static int living();

private:
    CFAllocatorRef before_;
};

} // namespace qv_test
