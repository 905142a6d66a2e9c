// The bytes that a writer produces.
#ifndef COREFOUNDATION_SRC_PLIST_BUFFER_H
#define COREFOUNDATION_SRC_PLIST_BUFFER_H

#include "runtime.h"

#include <CoreFoundation/CFData.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace cf::plist {

/// A growing buffer from a CFAllocator, which becomes a data object without being copied.
///
/// Throws std::bad_alloc for want of memory.
class byte_buffer {
public:
    explicit byte_buffer(CFAllocatorRef allocator) : allocator_(resolve(allocator)) {}
    byte_buffer(const byte_buffer&) = delete;
    byte_buffer& operator=(const byte_buffer&) = delete;
    ~byte_buffer() { deallocate(allocator_, begin_); }

    std::size_t size() const { return static_cast<std::size_t>(at_ - begin_); }

    /// Room for `size` more bytes, of which wrote() then takes those that were written.
    char* room(std::size_t size) {
        if (static_cast<std::size_t>(end_ - at_) < size) grow(size);
        return at_;
    }
    void wrote(const char* end) { at_ += end - at_; }

    void append(std::string_view bytes) {
        char* to = room(bytes.size());
        if (!bytes.empty()) std::memcpy(to, bytes.data(), bytes.size());
        at_ += bytes.size();
    }
    void append(std::size_t count, char c) {
        std::memset(room(count), c, count);
        at_ += count;
    }

    /// Hands the bytes over as a data object.
    CFDataRef take();

private:
    void grow(std::size_t size);

    CFAllocatorRef allocator_;
    char* begin_ = nullptr;
    char* at_ = nullptr;
    char* end_ = nullptr;
};

} // namespace cf::plist

#endif
