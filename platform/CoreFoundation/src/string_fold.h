// What is left of a text when some differences do not count, and where each piece of it came from.
#ifndef COREFOUNDATION_SRC_STRING_FOLD_H
#define COREFOUNDATION_SRC_STRING_FOLD_H

#include "string_storage.h"

#include <array>
#include <cstddef>

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

/// Reads a text folded, piece by piece. A copy reads on from the same place.
///
/// It needs no memory of its own: nothing can be missed for want of it, however long the text is.
class fold_reader {
public:
    fold_reader(text_view text, CFRange range, CFStringCompareFlags options) noexcept;

    bool at_end() const noexcept { return count_ == 0; }
    /// The folded character.
    char32_t operator*() const noexcept { return pieces_[at_]; }
    /// The index of the unit that the piece came from. What comes of one character has one source.
    CFIndex source() const noexcept { return source_; }
    /// Whether it is the first that came from there.
    bool begins_character() const noexcept { return at_ == 0; }
    void advance() noexcept;

private:
    void read_character() noexcept;
    void add(char32_t character) noexcept;
    void decompose(char32_t character) noexcept;
    void decompose_hangul(char32_t syllable) noexcept;
    void put(char32_t character) noexcept;

    text_view text_;
    CFIndex next_;
    CFIndex end_;
    CFStringCompareFlags options_;
    CFIndex source_;
    std::size_t at_ = 0;
    std::size_t count_ = 0;
    // Case maps one character to three at most, and each of those decomposes into four at most.
    std::array<char32_t, 12> pieces_{};
};

} // namespace cf

#endif
