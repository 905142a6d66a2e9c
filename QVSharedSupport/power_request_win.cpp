#include "power_request.h"

#include <windows.h>

namespace QV::SharedSupport::PowerEvents {
namespace {

void* create() {
    // Shown by `powercfg /requests` as why the computer stays awake. The call copies it, but does not say so
    // of its parameter.
    wchar_t reason[] = L"Running a deployment";
    REASON_CONTEXT context = {};
    context.Version = POWER_REQUEST_CONTEXT_VERSION;
    context.Flags = POWER_REQUEST_CONTEXT_SIMPLE_STRING;
    context.Reason.SimpleReasonString = reason;
    void* const request = PowerCreateRequest(&context);
    return request == INVALID_HANDLE_VALUE ? nullptr : request;
}

// On a computer with Modern Standby this process goes on running; on any other the whole system stays awake.
constexpr auto kind = PowerRequestExecutionRequired;

bool set(void* request) {
    return PowerSetRequest(request, kind) != FALSE;
}

bool clear(void* request) {
    return PowerClearRequest(request, kind) != FALSE;
}

} // namespace

const power_calls system_power_calls = {create, set, clear};

} // namespace QV::SharedSupport::PowerEvents
