#include "graph_copy.h"

#include <new>
#include <utility>

namespace QV {

CF::AutoPointer graph_copy::run(CFTypeRef root) {
    levels_.clear();
    known_.clear();
    repeated_ = 0;
    std::optional<CF::AutoPointer> copy = visit(root);
    for (;;) {
        if (copy) {
            if (levels_.empty()) return *copy;
            accept(*copy);
        }
        copy = advance();
    }
}

std::optional<CF::AutoPointer> graph_copy::visit(CFTypeRef value) {
    if (value == nullptr) return CF::AutoPointer();
    const CFTypeID type = CFGetTypeID(value);
    if (type != CFArrayGetTypeID() && type != CFDictionaryGetTypeID()) return leaf(value);

    const auto [found, is_new] = known_.try_emplace(value);
    if (!is_new) {
        if (found->second.inside) return cycle();
        if (repeated_ >= most_repeated) return found->second.copy;
    }
    enter(value);
    if (!is_new) repeated_ += levels_.back().values.size() + 1;
    found->second.inside = true;
    return std::nullopt;
}

void graph_copy::enter(CFTypeRef container) {
    level entered;
    entered.original = container;
    if (CFGetTypeID(container) == CFArrayGetTypeID()) {
        const auto array = static_cast<CFArrayRef>(container);
        const CFIndex count = CFArrayGetCount(array);
        entered.values.resize(static_cast<std::size_t>(count));
        CFArrayGetValues(array, CFRangeMake(0, count), entered.values.data());
        entered.array = CF::MutableArray::create();
    } else {
        const auto dictionary = static_cast<CFDictionaryRef>(container);
        entered.values.resize(static_cast<std::size_t>(CFDictionaryGetCount(dictionary)));
        entered.keys.resize(entered.values.size());
        CFDictionaryGetKeysAndValues(dictionary, entered.keys.data(), entered.values.data());
        entered.dictionary = CF::MutableDictionary::create();
    }
    if (!entered.array && !entered.dictionary) throw std::bad_alloc();
    levels_.push_back(std::move(entered));
}

std::optional<CF::AutoPointer> graph_copy::advance() {
    const level& inner = levels_.back();
    if (inner.failed || inner.next == inner.values.size()) return leave();
    const CFTypeRef value = inner.values[inner.next];
    if (inner.dictionary) {
        const CFTypeRef key = inner.keys[inner.next];
        if (!accepts_key(key)) return CF::AutoPointer();
        if (CF::AutoPointer instead = replacement(key, value)) return instead;
    }
    return visit(value);
}

void graph_copy::accept(const CF::AutoPointer& copy) {
    level& inner = levels_.back();
    if (!copy) {
        inner.failed = !leaves_gaps();
    } else {
        const bool added =
            inner.array ? inner.array.append(copy) : inner.dictionary.set(inner.keys[inner.next], copy);
        if (!added) throw std::bad_alloc();
    }
    ++inner.next;
}

CF::AutoPointer graph_copy::leave() {
    level inner = std::move(levels_.back());
    levels_.pop_back();
    record& known = known_.find(inner.original)->second;
    known.inside = false;
    if (inner.failed)
        known.copy = CF::AutoPointer();
    else if (inner.array)
        known.copy = CF::AutoPointer(std::move(inner.array));
    else
        known.copy = CF::AutoPointer(std::move(inner.dictionary));
    return known.copy;
}

} // namespace QV
