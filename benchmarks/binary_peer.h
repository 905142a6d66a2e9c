#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace bench {

/// How long another library takes over a binary property list, in seconds of processor time.
struct peer_times {
    double read = 0; ///< And destroy.
    double write = 0;
};

/// Measures libplist; nothing where it is not installed.
std::optional<peer_times> binary_peer(std::span<const std::byte> list);

} // namespace bench
