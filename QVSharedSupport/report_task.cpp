#include "report_task.h"

#include "try_log.h"

#include <algorithm>

namespace QV::SystemConfiguration {

std::chrono::steady_clock::time_point deadline_after(std::chrono::nanoseconds timeout) noexcept {
    using clock = std::chrono::steady_clock;
    const clock::time_point now = clock::now();
    const auto wait = std::max(std::chrono::duration_cast<clock::duration>(timeout), clock::duration::zero());
    return now + std::min(wait, clock::time_point::max() - now);
}

std::string describe_exit(std::optional<int> code) {
    if (!code) return "Could not get return code from msinfo32";
    if (*code != 0) return "msinfo32 exited with error " + std::to_string(*code);
    return {};
}

std::exception_ptr launch_failure(const std::exception& failure) noexcept {
    try {
        return std::make_exception_ptr(
            std::runtime_error(std::string("Failed to launch system report task: ") + failure.what()));
    } catch (...) {
        return std::current_exception(); // no memory for the text
    }
}

void log_not_ended(const std::exception& failure) noexcept {
    try_log("System", Logging::log_level::error, "msinfo32 was not ended: {}", failure.what());
}

} // namespace QV::SystemConfiguration
