// Facts about characters up to U+FFFF: case, accents, width. All tables are in ascending order.
#ifndef COREFOUNDATION_SRC_UNICODE_TABLES_H
#define COREFOUNDATION_SRC_UNICODE_TABLES_H

#include <array>
#include <cstdint>
#include <span>

namespace cf {

/// Every `stride`th character from `first` to `last` stands for the one `distance` further on.
struct case_run {
    std::uint16_t first;
    std::uint16_t last;
    std::int32_t stride;
    std::int32_t distance;
};

/// A character that stands for two or three; unused places are 0.
struct case_expansion {
    std::uint16_t character;
    std::array<std::uint16_t, 3> to;
};

/// The canonical decomposition of a character, one step of it; `second` is 0 where there is only one.
struct decomposition {
    std::uint16_t character;
    std::uint16_t first;
    std::uint16_t second;
};

struct character_range {
    std::uint16_t first;
    std::uint16_t last;
};

extern const std::span<const case_run> folding_runs;
extern const std::span<const case_expansion> folding_expansions;
extern const std::span<const case_run> lower_runs;
extern const std::span<const case_expansion> lower_expansions;
extern const std::span<const case_run> upper_runs;
extern const std::span<const case_expansion> upper_expansions;
extern const std::span<const decomposition> decompositions;
/// Characters that combine with the one before.
extern const std::span<const character_range> marks;
/// Full-width and half-width forms, to the ordinary ones.
extern const std::span<const case_run> widths;

} // namespace cf

#endif
