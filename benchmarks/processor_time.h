#pragma once

#include <ctime>

namespace bench {

/// The best of three, in seconds of processor time: what else the machine does is of no interest.
template <class Function>
double seconds(Function function) {
    std::clock_t best = 0;
    for (int round = 0; round < 3; ++round) {
        const std::clock_t start = std::clock();
        function();
        const std::clock_t taken = std::clock() - start;
        if (round == 0 || taken < best) best = taken;
    }
    return static_cast<double>(best) / CLOCKS_PER_SEC;
}

} // namespace bench
