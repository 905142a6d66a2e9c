#include "plist_buffer.h"

#include <algorithm>
#include <limits>
#include <new>

namespace cf::plist {

void byte_buffer::grow(std::size_t size) {
    const std::size_t used = this->size();
    constexpr auto most = static_cast<std::size_t>(std::numeric_limits<CFIndex>::max() / 2);
    if (size > most - used) throw std::bad_alloc();
    const std::size_t capacity = std::max<std::size_t>({1024, used + size, used * 2});
    void* grown =
        begin_ == nullptr ? allocate(allocator_, capacity) : reallocate(allocator_, begin_, capacity);
    if (grown == nullptr) throw std::bad_alloc();
    begin_ = static_cast<char*>(grown);
    at_ = begin_ + used;
    end_ = begin_ + capacity;
}

CFDataRef byte_buffer::take() {
    const std::size_t used = size();
    // The rest of the block would stay idle for the life of the object.
    if (void* fitted = reallocate(allocator_, begin_, std::max<std::size_t>(used, 1)); fitted != nullptr) {
        begin_ = static_cast<char*>(fitted);
        at_ = begin_ + used;
        end_ = at_;
    }
    const CFAllocatorRef owner = allocator_ == nullptr ? kCFAllocatorSystemDefault : allocator_;
    const CFDataRef data = CFDataCreateWithBytesNoCopy(owner, reinterpret_cast<const UInt8*>(begin_),
                                                       static_cast<CFIndex>(used), owner);
    if (data == nullptr) throw std::bad_alloc();
    begin_ = at_ = end_ = nullptr;
    return data;
}

} // namespace cf::plist
