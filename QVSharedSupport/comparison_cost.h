#pragma once

#include <CFAdapters/Type.h>

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace QV {

/// What it may cost to use values as keys of a dictionary.
///
/// Keys are compared in full, and containers that share containers can stand for more values than anybody can
/// look at: sixty arrays, each holding the one before it twice, for 2 to the power of 60. For values without
/// cycles, as archives yield them.
class comparison_cost {
public:
    /// How many values two equal keys of a dictionary with these would have to be compared for, at worst.
    /// Keys that are no containers cost nothing. @throws std::bad_alloc
    std::uint64_t of_keys(const std::vector<CF::AutoPointer>& keys);

    /// Far beyond what can be waited for.
    static constexpr std::uint64_t most = std::uint64_t{1} << 31U;

private:
    struct known_size {
        CF::AutoPointer container; ///< Kept: another container shall not get its address.
        std::uint64_t size;
    };

    std::uint64_t size_of(const CF::AutoPointer& container);

    std::unordered_map<CFTypeRef, known_size> sizes_;
};

} // namespace QV
