// Walking through values that are about to be written or copied: they may hold anything, themselves included.
#ifndef COREFOUNDATION_SRC_PLIST_WALK_H
#define COREFOUNDATION_SRC_PLIST_WALK_H

#include "containers.h"
#include "string_storage.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace cf::plist {

/// The containers a walk is inside of, and how often it has met those that are shared.
///
/// A value in which containers share containers can be exponentially larger than it looks; one that holds
/// itself is endless. Both are found out, and so is nesting that would make the written text absurdly large.
class walk_guard {
public:
    /// How often one container that is not empty may occur in a list that is written as text.
    static constexpr std::size_t most_occurrences = 1537;
    /// How deep what is written or copied may be nested.
    static constexpr std::size_t deepest = 10'000;

    /// Enters a container that is not empty. `counted` says that its owner holds a counted reference to it.
    /// False, with problem() saying why, if the value cannot be walked through.
    bool enter(CFTypeRef container, bool counted);
    /// Leaves the container entered last.
    void leave();
    std::size_t depth() const { return inside_.size(); }
    const std::string& problem() const { return problem_; }

private:
    bool enter_shared(CFTypeRef container);

    // So many ancestors are looked through one by one.
    static constexpr std::size_t searched = 32;

    std::vector<CFTypeRef> inside_;
    std::unordered_set<CFTypeRef> deeper_; ///< Those of `inside_` that are not searched.
    std::unordered_map<CFTypeRef, std::size_t> occurrences_;
    std::string problem_;
};

/// Whether an array retains its values, and a dictionary too.
inline bool counts_values(CFArrayRef array) {
    return array->callbacks->retain != nullptr;
}
inline bool counts_values(CFDictionaryRef dictionary) {
    return dictionary->callbacks->value.retain != nullptr;
}

/// Why a value of this type cannot be in a property list; NULL is allowed.
std::string refusal_of_value(CFTypeRef value);
/// Why an object that is no string cannot be a key.
std::string refusal_of_key(CFTypeRef key);

} // namespace cf::plist

#endif
