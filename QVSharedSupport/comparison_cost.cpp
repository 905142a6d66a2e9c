#include "comparison_cost.h"

#include <algorithm>
#include <utility>

namespace QV {

namespace {

bool is_container(CFTypeRef value) {
    if (value == nullptr) return false;
    const CFTypeID type = CFGetTypeID(value);
    return type == CFArrayGetTypeID() || type == CFDictionaryGetTypeID();
}

std::vector<CFTypeRef> members_of(CFTypeRef container) {
    std::vector<CFTypeRef> members;
    if (CFGetTypeID(container) == CFArrayGetTypeID()) {
        const auto array = static_cast<CFArrayRef>(container);
        members.resize(static_cast<std::size_t>(CFArrayGetCount(array)));
        CFArrayGetValues(array, CFRangeMake(0, CFArrayGetCount(array)), members.data());
        return members;
    }
    const auto dictionary = static_cast<CFDictionaryRef>(container);
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    members.resize(2 * count);
    CFDictionaryGetKeysAndValues(dictionary, members.data(), members.data() + count);
    return members;
}

struct level {
    CFTypeRef container;
    std::vector<CFTypeRef> members;
    std::size_t next = 0;
    std::uint64_t size = 1;
};

} // namespace

std::uint64_t comparison_cost::of_keys(const std::vector<CF::AutoPointer>& keys) {
    std::uint64_t cost = 0;
    std::uint64_t before = 0;
    for (const CF::AutoPointer& key : keys) {
        if (!is_container(key.get())) continue;
        // Containers of the same length may have the same hash: each is compared with all before it.
        cost = std::min(most, cost + before * size_of(key));
        ++before;
    }
    return cost;
}

std::uint64_t comparison_cost::size_of(const CF::AutoPointer& container) {
    std::uint64_t size = 0; // of the container left last
    std::vector<level> levels;
    const auto enter = [&](CFTypeRef entered) { levels.push_back({entered, members_of(entered)}); };
    const auto known = [&](CFTypeRef value) {
        const auto found = sizes_.find(value);
        return found == sizes_.end() ? std::uint64_t{0} : found->second.size;
    };
    if (const std::uint64_t one = known(container.get())) return one;
    enter(container.get());
    while (!levels.empty()) {
        level& inner = levels.back();
        if (inner.next == inner.members.size()) {
            size = inner.size;
            sizes_.try_emplace(inner.container, known_size{CF::AutoPointer(inner.container), size});
            levels.pop_back();
            continue;
        }
        const CFTypeRef member = inner.members[inner.next];
        const std::uint64_t counted = is_container(member) ? known(member) : 1;
        if (counted == 0) { // not known yet: comes back here when it is
            enter(member);
            continue;
        }
        inner.size = std::min(most, inner.size + counted);
        ++inner.next;
    }
    return size;
}

} // namespace QV
