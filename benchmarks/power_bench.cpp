// What a host pays for staying awake and for asking about sleep, beside the system calls that it stands on.
#include <QVSharedSupport/PowerEvents.h>

#include <QVLog/QVLog.h>

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

namespace power = QV::SharedSupport::PowerEvents;
using clock = std::chrono::steady_clock;

volatile clock::rep kept;

/// Nanoseconds of one call, the best of three rounds.
template <class Function>
double cost(int calls, Function function) {
    clock::duration best = clock::duration::max();
    for (int round = 0; round < 3; ++round) {
        const clock::time_point start = clock::now();
        for (int i = 0; i < calls; ++i)
            function();
        const clock::duration taken = clock::now() - start;
        if (taken < best) best = taken;
    }
    return std::chrono::duration<double, std::nano>(best).count() / calls;
}

void show(const char* what, double own, const char* peer, double bare) {
    std::printf("%-16s %10.1f ns; %s %10.1f ns; ratio %.2f\n", what, own, peer, bare, own / bare);
}

/// A power request made once, then set and cleared: what one token needs of the system.
class bare_request {
public:
    bare_request() {
        wchar_t reason[] = L"benchmark";
        REASON_CONTEXT context = {};
        context.Version = POWER_REQUEST_CONTEXT_VERSION;
        context.Flags = POWER_REQUEST_CONTEXT_SIMPLE_STRING;
        context.Reason.SimpleReasonString = reason;
        handle_ = PowerCreateRequest(&context);
    }
    bare_request(const bare_request&) = delete;
    bare_request& operator=(const bare_request&) = delete;
    ~bare_request() { CloseHandle(handle_); }

    void set_and_clear() {
        PowerSetRequest(handle_, PowerRequestExecutionRequired);
        PowerClearRequest(handle_, PowerRequestExecutionRequired);
    }

private:
    HANDLE handle_;
};

} // namespace

int wmain() {
    QV::Logging::set_sinks({}); // refusals are logged, and what that costs depends on where it goes
    bare_request bare;
    show("sleep token", cost(1000, [] { const auto token = power::sleep_enabler::disable_sleep(); }),
         "set and clear", cost(1000, [&] { bare.set_and_clear(); }));
    show("last_wake_time", cost(1'000'000, [] { kept = power::last_wake_time().time_since_epoch().count(); }),
         "steady_clock::now", cost(1'000'000, [] { kept = clock::now().time_since_epoch().count(); }));
    return EXIT_SUCCESS;
}
