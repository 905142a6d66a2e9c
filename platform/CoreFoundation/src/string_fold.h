// What is left of a text when some differences do not count, and where each piece of it came from.
#ifndef COREFOUNDATION_SRC_STRING_FOLD_H
#define COREFOUNDATION_SRC_STRING_FOLD_H

#include "string_storage.h"

#include <array>
#include <vector>

namespace cf {

/// What one character maps to.
struct mapped {
    std::array<UniChar, 3> units;
    std::size_t count;
};
mapped to_lower(UniChar unit);
mapped to_upper(UniChar unit);

/// Whether a character combines with the one before.
bool is_mark(char32_t character);

/// Whether any of these compare options makes different characters equal.
bool folds(CFStringCompareFlags options);

/// One folded character; `source` is the index of the unit it came from.
struct folded {
    char32_t character;
    CFIndex source;
};

/// Folds the units in `range`. What comes of one character has one source.
/// @throws std::bad_alloc
std::vector<folded> fold(text_view text, CFRange range, CFStringCompareFlags options);

} // namespace cf

#endif
