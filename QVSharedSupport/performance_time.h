#pragma once

#include <chrono>
#include <cstdint>

namespace QV::SharedSupport::PowerEvents {

/// How long a counter has been running that counts `frequency` times a second: nanoseconds, rounded down.
///
/// Whole seconds first, so that nothing overflows for centuries, at up to 9 GHz. Nothing is lost at 10 MHz,
/// where a count is 100 ns; at 24 MHz three counts are exactly 125 ns, and no error adds up.
constexpr std::chrono::nanoseconds performance_time(std::int64_t count, std::int64_t frequency) noexcept {
    constexpr std::int64_t second = 1'000'000'000;
    return std::chrono::nanoseconds(count / frequency * second + count % frequency * second / frequency);
}

/// Now, from the system's performance counter, which is what the steady clock stands on.
std::chrono::steady_clock::time_point performance_now() noexcept;

} // namespace QV::SharedSupport::PowerEvents
