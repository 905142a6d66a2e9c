#include "plist_walk.h"

#include <algorithm>

namespace cf::plist {

namespace {

std::string type_name(CFTypeRef object) {
    const owned<CFStringRef> name(CFCopyTypeIDDescription(CFGetTypeID(object)));
    return name ? std::string(view(name.get()).narrow()) : std::string("unknown");
}

} // namespace

bool walk_guard::enter(CFTypeRef container, bool counted) {
    if (inside_.size() == deepest) {
        problem_ = "property lists cannot be nested more than " + std::to_string(deepest) + " levels deep";
        return false;
    }
    // What only its owner refers to is met once. (A cycle that nobody else refers to ends at the deepest
    // level.)
    const bool unshared = counted && as_object(container)->references.load(std::memory_order_relaxed) == 1;
    if (!unshared && !enter_shared(container)) return false;
    if (inside_.size() >= searched) deeper_.insert(container);
    inside_.push_back(container);
    return true;
}

bool walk_guard::enter_shared(CFTypeRef container) {
    const auto near = inside_.begin() + static_cast<std::ptrdiff_t>(std::min(inside_.size(), searched));
    if (std::find(inside_.begin(), near, container) != near || deeper_.contains(container)) {
        problem_ = "property lists cannot contain recursive container references";
        return false;
    }
    if (++occurrences_[container] > most_occurrences) {
        problem_ = "property lists cannot contain the same array or dictionary more than " +
                   std::to_string(most_occurrences) + " times";
        return false;
    }
    return true;
}

void walk_guard::leave() {
    if (inside_.size() > searched) deeper_.erase(inside_.back());
    inside_.pop_back();
}

std::string refusal_of_value(CFTypeRef value) {
    if (value == nullptr) return "property lists cannot contain NULL";
    return "property lists cannot contain objects of type '" + type_name(value) + "'";
}

std::string refusal_of_key(CFTypeRef key) {
    return "property list dictionaries may only have keys which are CFStrings, not '" +
           (key == nullptr ? std::string("NULL") : type_name(key)) + "'";
}

} // namespace cf::plist
