#include "performance_time.h"

#include <windows.h>

namespace QV::SharedSupport::PowerEvents {

std::chrono::steady_clock::time_point performance_now() noexcept {
    LARGE_INTEGER frequency; // fixed when the system starts
    LARGE_INTEGER count;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&count);
    return std::chrono::steady_clock::time_point(performance_time(count.QuadPart, frequency.QuadPart));
}

} // namespace QV::SharedSupport::PowerEvents
