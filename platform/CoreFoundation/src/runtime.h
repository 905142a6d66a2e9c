// The object model: what every object begins with, how objects are made, counted and destroyed, and how the
// functions that are common to all types find those of one type.
//
// An object is one allocation that begins with cf::object. There are no virtual functions: `kind` picks a row
// of a table. Constants are counted as immortal and need no start-up code.
#ifndef COREFOUNDATION_SRC_RUNTIME_H
#define COREFOUNDATION_SRC_RUNTIME_H

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

namespace cf {

/// The types, and their CFTypeID values; 0 is no type.
enum class type : std::uint8_t {
    none,
    any, ///< No object's: the name of objects in general.
    allocator,
    string,
    number,
    boolean,
    null,
    data,
    date,
    array,
    dictionary,
    set,
    error,
    url,
    uuid,
    archiver_uid,
    count
};

/// Any negative count means an object that is never destroyed; a count that overflows therefore becomes
/// immortal.
inline constexpr std::int32_t immortal = INT32_MIN / 2;

/// What every object begins with.
struct object {
    mutable std::atomic<std::int32_t> references;
    type kind;
    bool is_mutable;
    std::uint16_t detail; ///< For the type's own use.
    CFAllocatorRef
        allocator; ///< Retained. Null for the system's, whose objects go straight to malloc and free.
};
static_assert(sizeof(object) == 16);

/// An object that refers to others. Its spare word links it to the next of the objects waiting to be
/// destroyed, so that destroying a deep graph needs neither stack nor memory.
struct container : object {
    container* next_dead;
};

/// Two objects to be compared.
struct pair {
    CFTypeRef a;
    CFTypeRef b;
};

/// What comparing two containers has come to.
enum class step { differs, finished, compare };

/// What the functions common to all types do for one of them. Null members mean: nothing to finalize, equal
/// only to itself, hashed by address, formatted as described.
struct type_info {
    const char* name;
    bool refers; ///< Whether its objects are of type `container`.
    void (*finalize)(object& self);
    bool (*equal)(const object& a, const object& b);
    CFHashCode (*hash)(const object& self);
    CFStringRef (*copy_description)(const object& self);
    CFStringRef (*copy_formatted)(const object& self) = nullptr; ///< The text that %@ gives.
    /// For containers, instead of `equal`: finds out whether they differ as far as can be told without
    /// comparing objects, and hands out the objects to compare one pair at a time. `position` is 0 at first
    /// and for its own use after.
    step (*next_pair)(const object& a, const object& b, CFIndex& position, pair& next) = nullptr;
};

/// The row for `kind`; defined with each type.
extern const type_info allocator_type_info;
extern const type_info string_type_info;
extern const type_info number_type_info;
extern const type_info boolean_type_info;
extern const type_info null_type_info;
extern const type_info data_type_info;
extern const type_info date_type_info;
extern const type_info array_type_info;
extern const type_info dictionary_type_info;
extern const type_info set_type_info;
extern const type_info error_type_info;
extern const type_info url_type_info;
extern const type_info uuid_type_info;
extern const type_info archiver_uid_type_info;

inline const object* as_object(CFTypeRef cf) {
    return static_cast<const object*>(cf);
}

/// Whether `cf` is an object of that type; false for NULL.
inline bool is(CFTypeRef cf, type kind) {
    return cf != nullptr && as_object(cf)->kind == kind;
}

/// The type of an object that is not NULL.
inline type type_of(CFTypeRef cf) {
    return as_object(cf)->kind;
}

/// Whether `cf` is a mutable object of that type.
inline bool is_mutable(CFTypeRef cf, type kind) {
    return is(cf, kind) && as_object(cf)->is_mutable;
}

/// A count as %lld takes it: CFIndex is a different type on each system.
inline long long as_long_long(CFIndex count) {
    return count;
}

/// Whether a range lies within `length` things.
inline bool contains(CFIndex length, CFRange range) {
    return range.location >= 0 && range.length >= 0 && range.location <= length &&
           range.length <= length - range.location;
}

/// The allocator to use for an argument: null for the system's, never a null one that means "the default".
CFAllocatorRef resolve_slowly(CFAllocatorRef allocator);
extern std::atomic<bool> a_default_was_set;
inline CFAllocatorRef resolve(CFAllocatorRef allocator) {
    if (allocator == nullptr && !a_default_was_set.load(std::memory_order_relaxed)) return nullptr;
    return resolve_slowly(allocator);
}

/// Memory from a resolved allocator; null when there is none. Aligned for any object.
void* allocate(CFAllocatorRef resolved, std::size_t size);
/// Resizes a block; null leaves the old one as it was.
void* reallocate(CFAllocatorRef resolved, void* block, std::size_t size);
/// Frees a block; null is ignored.
void deallocate(CFAllocatorRef resolved, void* block);

/// Memory for an object of `size` bytes with its header filled in, one reference; null when there is none.
/// The rest is uninitialised. `allocator` is as the public functions take it.
void* allocate_object(CFAllocatorRef allocator, type kind, std::size_t size);

/// Makes an object of a plain struct derived from `object`, whose members after the header are zero; null for
/// want of memory.
template <typename T>
T* make(CFAllocatorRef allocator, type kind, std::size_t extra = 0) {
    static_assert(std::is_base_of_v<object, T> && std::is_trivially_destructible_v<T>);
    void* memory = allocate_object(allocator, kind, sizeof(T) + extra);
    if (memory == nullptr) return nullptr;
    const auto* header = static_cast<const object*>(memory);
    CFAllocatorRef used = header->allocator;
    T* made = ::new (memory) T{};
    made->references.store(1, std::memory_order_relaxed);
    made->kind = kind;
    made->allocator = used;
    return made;
}

/// Gives back the memory of an object whose contents are finalized, or that was never handed out.
void free_object(object& dead);

/// Ends an object whose last reference is gone.
void destroy(object& dead);

inline void retain(CFTypeRef cf) {
    const object* counted = as_object(cf);
    if (counted->references.load(std::memory_order_relaxed) < 0) return;
    counted->references.fetch_add(1, std::memory_order_relaxed);
}

inline void release(CFTypeRef cf) {
    const object* counted = as_object(cf);
    const std::int32_t references = counted->references.load(std::memory_order_acquire);
    if (references < 0) return;
    // Whoever holds the only reference is alone with the object: nobody else can add one.
    if (references == 1 || counted->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        destroy(*const_cast<object*>(counted));
}

/// Whether two objects that are not NULL are equal: as CFEqual.
bool equal(CFTypeRef a, CFTypeRef b);

/// The hash of an object that is not NULL: as CFHash.
CFHashCode hash(CFTypeRef cf);

/// The text that %@ gives for an object that is not NULL; null for want of memory.
CFStringRef copy_formatted(CFTypeRef cf);

/// "<CFName address [allocator]>", with which descriptions begin; null for want of memory.
CFStringRef copy_heading(const object& self, const char* name);

/// A secret of this process that hash tables and string hashes mix in, so that nobody can prepare colliding
/// keys.
std::uint64_t hash_seed();

/// Owns one reference.
template <typename Ref>
class owned {
public:
    owned() = default;
    explicit owned(Ref adopted) : ref_(adopted) {}
    owned(owned&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    owned& operator=(owned&& other) noexcept {
        owned(std::move(other)).swap(*this);
        return *this;
    }
    owned(const owned&) = delete;
    owned& operator=(const owned&) = delete;
    ~owned() {
        if (ref_ != nullptr) release(ref_);
    }
    void swap(owned& other) noexcept { std::swap(ref_, other.ref_); }
    /// Shares a borrowed object.
    static owned retained(Ref borrowed) {
        if (borrowed != nullptr) retain(borrowed);
        return owned(borrowed);
    }
    Ref get() const { return ref_; }
    /// Hands the reference to the caller.
    [[nodiscard]] Ref detach() { return std::exchange(ref_, nullptr); }
    explicit operator bool() const { return ref_ != nullptr; }

private:
    Ref ref_ = nullptr;
};

} // namespace cf

#endif
