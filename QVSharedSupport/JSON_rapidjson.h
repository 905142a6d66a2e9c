#pragma once

#include <cstddef>
#include <cstring>
#include <new>

// RapidJSON counts bytes, members and elements in 32 bits unless told otherwise, and cuts off what is more.
#define RAPIDJSON_NO_SIZETYPEDEFINE
namespace rapidjson {
using SizeType = std::size_t;
}

namespace QV::SharedSupport::JSON {

/// Memory for RapidJSON's buffers that throws std::bad_alloc where there is none: RapidJSON does not look for
/// null pointers.
struct throwing_allocator {
    static constexpr bool kNeedFree = true;
    static void* Malloc(std::size_t size) { return size == 0 ? nullptr : ::operator new(size); }
    static void* Realloc(void* old, std::size_t old_size, std::size_t size) {
        void* const block = Malloc(size);
        if (old_size != 0 && size != 0) std::memcpy(block, old, old_size < size ? old_size : size);
        Free(old);
        return block;
    }
    static void Free(void* block) noexcept { ::operator delete(block); }
};

} // namespace QV::SharedSupport::JSON
