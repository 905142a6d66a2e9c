// A limit to the work of comparing objects that strangers made.
#ifndef COREFOUNDATION_SRC_COMPARISON_LIMIT_H
#define COREFOUNDATION_SRC_COMPARISON_LIMIT_H

#include <cstdint>

namespace cf {

/// While it lives, this thread compares so many pairs of objects, and takes any further ones to differ.
///
/// Objects can be made so that all of them have one hash, as arrays of one length have, or hold each other
/// over and over: comparing those would take hours.
class comparison_limit {
public:
    explicit comparison_limit(std::uint64_t most);
    comparison_limit(const comparison_limit&) = delete;
    comparison_limit& operator=(const comparison_limit&) = delete;
    ~comparison_limit();
    /// Whether this thread has reached its limit, if there is any.
    static bool is_reached();
};

} // namespace cf

#endif
