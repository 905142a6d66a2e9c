#pragma once

#include <optional>

namespace QV {

/// The integer that `number` is, if it is one of 64 bits.
///
/// That is when rounding it to a 64-bit integer would raise neither the "invalid" nor the "inexact" flag of
/// the floating-point environment. Asked by comparing, because compilers move arithmetic across calls that
/// clear and test those flags; this way the answer is the same at every optimisation level and in every
/// rounding mode.
inline std::optional<long long> exact_integer(double number) noexcept {
    // Both bounds are powers of two and exact; NaN fails every comparison.
    if (!(number >= -0x1p63 && number < 0x1p63)) return std::nullopt;
    const auto truncated = static_cast<long long>(number);
    if (static_cast<double>(truncated) != number) return std::nullopt;
    return truncated;
}

} // namespace QV
