#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace measure {

/// Wall-clock seconds that `function` takes.
template <class Function>
double seconds(Function&& function) {
    const auto start = std::chrono::steady_clock::now();
    function();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// One way of doing a thing `count` times, and the best time seen.
struct contender {
    const char* name;
    double best = 0;
};

/// Runs all contenders in turn, round by round, so that what else the machine does meets all of them, and
/// keeps the best time of each. A contender is a name and a function that does the thing `count` times.
template <class... Functions>
std::vector<contender> race(int rounds, std::vector<const char*> names, Functions... functions) {
    std::vector<contender> result;
    for (const char* name : names)
        result.push_back({name});
    for (int round = 0; round < rounds; ++round) {
        std::size_t index = 0;
        const auto run = [&](auto& function) {
            const double taken = seconds(function);
            double& best = result[index++].best;
            best = round == 0 ? taken : std::min(best, taken);
        };
        (run(functions), ...);
    }
    return result;
}

/// Prints the time of each, and of the first one as a multiple of every other.
inline void print(const char* title, std::size_t count, const std::vector<contender>& result) {
    std::printf("%s\n", title);
    for (const contender& each : result) {
        std::printf("  %-44s %9.1f ns %12.0f /s", each.name, each.best * 1e9 / static_cast<double>(count),
                    static_cast<double>(count) / each.best);
        if (&each != &result.front())
            std::printf("   ours takes %.2f times as long, does %.2f times as many",
                        result[0].best / each.best, each.best / result[0].best);
        std::printf("\n");
    }
}

} // namespace measure
