#include "runtime.h"

#include "allocator.h"
#include "comparison_limit.h"
#include "string_storage.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

namespace cf {

namespace {

constexpr type_info not_a_type_info = {"Not A Type", false, nullptr, nullptr, nullptr, nullptr};
constexpr type_info any_type_info = {"CFType", false, nullptr, nullptr, nullptr, nullptr};

// In the order of the enumeration.
constexpr std::array<const type_info*, static_cast<std::size_t>(type::count)> type_infos = {
    &not_a_type_info,  &any_type_info,     &allocator_type_info,  &string_type_info,
    &number_type_info, &boolean_type_info, &null_type_info,       &data_type_info,
    &date_type_info,   &array_type_info,   &dictionary_type_info, &set_type_info,
    &error_type_info,  &url_type_info,     &uuid_type_info,       &archiver_uid_type_info};

const type_info& info_of(const object& self) {
    return *type_infos[static_cast<std::size_t>(self.kind)];
}

} // namespace

void* allocate_object(CFAllocatorRef allocator, type kind, std::size_t size) {
    CFAllocatorRef resolved = resolve(allocator);
    void* memory = allocate(resolved, size);
    if (memory == nullptr) return nullptr;
    auto* made = ::new (memory) object{{1}, kind, false, 0, resolved};
    if (resolved != nullptr) retain(resolved);
    return made;
}

void free_object(object& dead) {
    if (dead.kind == type::allocator) return free_allocator(dead);
    CFAllocatorRef made_with = dead.allocator;
    deallocate(made_with, &dead);
    if (made_with != nullptr) release(made_with);
}

namespace {

// The containers of this thread that wait to be destroyed. The outermost call works the list off, so that a
// chain of any length takes no stack.
struct graveyard {
    bool is_worked_off;
    container* first;
};
thread_local graveyard dead_containers{};

} // namespace

void destroy(object& dead) {
    const type_info& info = info_of(dead);
    if (!info.refers) {
        if (info.finalize != nullptr) info.finalize(dead);
        return free_object(dead);
    }
    auto* next = static_cast<container*>(&dead);
    graveyard& yard = dead_containers;
    if (yard.is_worked_off) {
        next->next_dead = yard.first;
        yard.first = next;
        return;
    }
    yard.is_worked_off = true;
    while (next != nullptr) {
        const type_info& its_info = info_of(*next);
        if (its_info.finalize != nullptr) its_info.finalize(*next);
        free_object(*next);
        next = yard.first;
        if (next != nullptr) yard.first = next->next_dead;
    }
    yard.is_worked_off = false;
}

namespace {

// Deeper than any list that can be read or written, and few enough frames to fit in memory. Only cyclic
// containers, which would be compared for ever, are this deep.
constexpr std::size_t deepest_comparison = 1'000'000;

// How deep comparisons may nest that cannot be put off: of keys, of values of sets, and through call-backs.
constexpr int deepest_nested_comparison = 100;
thread_local int nested_comparisons = 0;

class nested_comparison {
public:
    nested_comparison() { ++nested_comparisons; }
    nested_comparison(const nested_comparison&) = delete;
    nested_comparison& operator=(const nested_comparison&) = delete;
    ~nested_comparison() { --nested_comparisons; }
    bool is_too_deep() const { return nested_comparisons > deepest_nested_comparison; }
};

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();
thread_local std::uint64_t comparisons_left = unlimited;

// False if there are not so many comparisons left.
bool spend_comparisons(std::uint64_t count) {
    if (comparisons_left == unlimited) return true;
    comparisons_left -= std::min(count, comparisons_left);
    return comparisons_left != 0;
}

struct frame {
    const object* a;
    const object* b;
    CFIndex position;
};

// Compares two containers of one type, keeping those it is in the middle of in a list instead of on the
// stack.
bool equal_containers(const object& a, const object& b) {
    std::vector<frame> outer;
    frame current{&a, &b, 0};
    for (;;) {
        pair next{};
        const CFIndex before = current.position;
        const step found = info_of(*current.a).next_pair(*current.a, *current.b, current.position, next);
        if (!spend_comparisons(1 + static_cast<std::uint64_t>(current.position - before))) return false;
        switch (found) {
        case step::differs:
            return false;
        case step::finished:
            if (outer.empty()) return true;
            current = outer.back();
            outer.pop_back();
            break;
        case step::compare:
            if (next.a == next.b) break;
            if (next.a == nullptr || next.b == nullptr || type_of(next.a) != type_of(next.b)) return false;
            if (info_of(*as_object(next.a)).next_pair == nullptr) {
                if (!equal(next.a, next.b)) return false;
                break;
            }
            if (outer.size() >= deepest_comparison) return false;
            outer.push_back(current);
            current = {as_object(next.a), as_object(next.b), 0};
            break;
        }
    }
}

} // namespace

bool equal(CFTypeRef a, CFTypeRef b) {
    if (a == b) return true;
    const object& first = *as_object(a);
    const object& second = *as_object(b);
    if (first.kind != second.kind) return false;
    const type_info& info = info_of(first);
    // The hash of a string is no less than the text: strings of one hash are equal.
    if (first.kind != type::string && !spend_comparisons(1)) return false;
    if (!info.refers) return info.equal != nullptr && info.equal(first, second);
    const nested_comparison nested;
    if (nested.is_too_deep()) return false;
    if (info.next_pair == nullptr) return info.equal != nullptr && info.equal(first, second);
    try {
        return equal_containers(first, second);
    } catch (const std::bad_alloc&) {
        return false; // The list of frames found no memory: nothing can be said, and nothing thrown through
                      // C.
    }
}

comparison_limit::comparison_limit(std::uint64_t most) {
    comparisons_left = most;
}

comparison_limit::~comparison_limit() {
    comparisons_left = unlimited;
}

bool comparison_limit::is_reached() {
    return comparisons_left == 0;
}

CFHashCode hash(CFTypeRef cf) {
    const type_info& info = info_of(*as_object(cf));
    if (info.hash != nullptr) return info.hash(*as_object(cf));
    return reinterpret_cast<std::uintptr_t>(cf) >> 4U;
}

std::uint64_t hash_seed() {
    static const std::uint64_t seed = [] {
        try {
            std::random_device device;
            return (static_cast<std::uint64_t>(device()) << 32U) | device();
        } catch (const std::exception&) {
            // Without a source of random numbers the place where the program was loaded has to do.
            return std::uint64_t{reinterpret_cast<std::uintptr_t>(&dead_containers)};
        }
    }();
    return seed;
}

namespace {

// Descriptions recurse through call-backs, and a cyclic container would never end.
constexpr int deepest_description = 64;
thread_local int nested_descriptions = 0;

CFStringRef copy_description(CFTypeRef cf, bool formatted) {
    const object& self = *as_object(cf);
    const type_info& info = info_of(self);
    if (nested_descriptions >= deepest_description && info.refers) return copy_heading(self, info.name);
    ++nested_descriptions;
    CFStringRef text = formatted && info.copy_formatted != nullptr ? info.copy_formatted(self)
                       : info.copy_description != nullptr          ? info.copy_description(self)
                                                                   : copy_heading(self, info.name);
    --nested_descriptions;
    return text;
}

} // namespace

CFStringRef copy_formatted(CFTypeRef cf) {
    return copy_description(cf, true);
}

CFStringRef copy_heading(const object& self, const char* name) {
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<%s %p [%p]>"), name,
                                    static_cast<const void*>(&self),
                                    static_cast<const void*>(CFGetAllocator(&self)));
}

} // namespace cf

CFTypeID CFGetTypeID(CFTypeRef cf) {
    return cf == nullptr ? 0 : static_cast<CFTypeID>(cf::type_of(cf));
}

CFStringRef CFCopyTypeIDDescription(CFTypeID type_id) {
    if (type_id >= cf::type_infos.size()) return nullptr;
    return cf::create_ascii_string(nullptr, cf::type_infos[type_id]->name);
}

CFTypeRef CFRetain(CFTypeRef cf) {
    if (cf != nullptr) cf::retain(cf);
    return cf;
}

void CFRelease(CFTypeRef cf) {
    if (cf != nullptr) cf::release(cf);
}

CFTypeRef CFAutorelease(CFTypeRef cf) {
    return cf;
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
    if (cf == nullptr) return 0;
    const std::int32_t references = cf::as_object(cf)->references.load(std::memory_order_relaxed);
    return references < 0 ? std::numeric_limits<CFIndex>::max() : references;
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
    if (cf1 == nullptr || cf2 == nullptr) return cf1 == cf2;
    return cf::equal(cf1, cf2);
}

CFHashCode CFHash(CFTypeRef cf) {
    return cf == nullptr ? 0 : cf::hash(cf);
}

CFStringRef CFCopyDescription(CFTypeRef cf) {
    return cf == nullptr ? nullptr : cf::copy_description(cf, false);
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf) {
    if (cf == nullptr) return CFAllocatorGetDefault();
    CFAllocatorRef allocator = cf::as_object(cf)->allocator;
    return allocator != nullptr ? allocator : kCFAllocatorSystemDefault;
}

void CFShow(CFTypeRef cf) {
    const cf::owned<CFStringRef> text(cf == nullptr ? CFSTR("(null)") : cf::copy_description(cf, false));
    if (!text) return;
    const CFRange all = CFRangeMake(0, CFStringGetLength(text.get()));
    CFIndex size = 0;
    CFStringGetBytes(text.get(), all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    try {
        std::vector<UInt8> bytes(static_cast<std::size_t>(size) + 1, '\n');
        CFStringGetBytes(text.get(), all, kCFStringEncodingUTF8, '?', false, bytes.data(), size, nullptr);
        std::fwrite(bytes.data(), 1, bytes.size(), stderr);
    } catch (const std::bad_alloc&) {
        return; // A text for debugging: without memory there is none.
    }
}
