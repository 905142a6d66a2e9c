// What the readers of property lists make their values with.
//
// Within the readers and writers want of memory is an exception, std::bad_alloc; the exported functions turn
// it into an error.
#ifndef COREFOUNDATION_SRC_PLIST_OBJECTS_H
#define COREFOUNDATION_SRC_PLIST_OBJECTS_H

#include "runtime.h"
#include "string_storage.h"

#include <CoreFoundation/CFData.h>

#include <cstddef>
#include <new>
#include <span>
#include <string_view>
#include <vector>

namespace cf::plist {

/// How many arrays and dictionaries may lie inside each other in what is read.
inline constexpr std::size_t deepest_nesting = 512;

/// The reference, or std::bad_alloc if it is null.
template <typename Ref>
Ref need(Ref made) {
    if (made == nullptr) throw std::bad_alloc();
    return made;
}

/// What of a list that is read is made mutable.
struct mutability {
    bool containers = false;
    bool leaves = false;
};

/// Makes a data object; null for want of memory.
CFDataRef create_data(CFAllocatorRef allocator, std::span<const UInt8> bytes, bool is_mutable);

/// A stack of owned references.
class reference_stack {
public:
    reference_stack() = default;
    reference_stack(const reference_stack&) = delete;
    reference_stack& operator=(const reference_stack&) = delete;
    ~reference_stack() {
        for (const CFTypeRef ref : refs_)
            release(ref);
    }
    /// Adopts a reference, which is released if there is no room for it.
    void push(CFTypeRef adopted) {
        if (refs_.size() == refs_.capacity()) grow(adopted);
        refs_.push_back(adopted);
    }
    std::size_t size() const { return refs_.size(); }
    /// Those from `from` on, still owned by the stack.
    std::span<const CFTypeRef> since(std::size_t from) const { return std::span(refs_).subspan(from); }
    /// Forgets those from `from` on, which someone else has adopted.
    void forget(std::size_t from) { refs_.resize(from); }

private:
    void grow(CFTypeRef adopted) {
        owned<CFTypeRef> guard(adopted);
        refs_.reserve(refs_.capacity() == 0 ? 64 : refs_.capacity() * 2);
        static_cast<void>(guard.detach());
    }

    std::vector<CFTypeRef> refs_;
};

/// Makes the strings of one list, equal ones once unless they are to be mutable.
///
/// Its strings must not be handed to another thread while it lives: their counts are changed without locking.
class string_maker {
public:
    /// `text_size` is the size of the whole list.
    string_maker(CFAllocatorRef allocator, bool mutable_strings, std::size_t text_size);
    string_maker(const string_maker&) = delete;
    string_maker& operator=(const string_maker&) = delete;
    ~string_maker();

    /// A reference to a string of UTF-8 text, which `ascii` says to be all ASCII. Null if it is not well
    /// formed.
    CFStringRef make(std::string_view utf8, bool ascii);
    /// A reference to the empty string.
    CFStringRef make_empty() { return make({}, true); }

private:
    struct slot {
        std::uint32_t hash = 0;
        std::uint32_t size = 0;       ///< Of the UTF-8 text, its low bits.
        CFStringRef string = nullptr; ///< Owned; null in an empty slot.
    };

    CFStringRef create(std::string_view utf8, bool ascii) const;
    void grow();

    CFAllocatorRef allocator_;
    bool mutable_;
    std::size_t first_size_;
    std::uint64_t seed_ = hash_seed();
    std::size_t used_ = 0;
    std::vector<slot> slots_; ///< Open addressing; a power of two.
};

} // namespace cf::plist

#endif
