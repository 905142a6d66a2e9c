#include "pipe_creation.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

// MinGW's headers know it from Windows Vista on, by version macro; its value is fixed.
#ifndef PIPE_REJECT_REMOTE_CLIENTS
#define PIPE_REJECT_REMOTE_CLIENTS 0x00000008
#endif

namespace QV::pipe {
namespace {

// Neither end is born inheritable: the child's end becomes so only just before its spawn.
SECURITY_ATTRIBUTES not_inheritable() noexcept {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
}

void* create_write_end(const wchar_t* name) {
    SECURITY_ATTRIBUTES security = not_inheritable();
    constexpr DWORD buffer_bytes = 1024;
    return CreateNamedPipeW(name, PIPE_ACCESS_OUTBOUND | FILE_FLAG_OVERLAPPED,
                            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
                            buffer_bytes, buffer_bytes, 0, &security);
}

void* open_read_end(const wchar_t* name) {
    SECURITY_ATTRIBUTES security = not_inheritable();
    return CreateFileW(name, GENERIC_READ, 0, &security, OPEN_EXISTING,
                       FILE_FLAG_OVERLAPPED | FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool failed(HANDLE handle) noexcept {
    return handle == nullptr || handle == INVALID_HANDLE_VALUE;
}

} // namespace

const pipe_calls system_pipe_calls = {create_write_end, open_read_end};

raw_ends create_pipe(const std::wstring& name, const pipe_calls& calls) {
    const HANDLE write_end = calls.create(name.c_str());
    if (failed(write_end)) throw win32_error("CreateNamedPipeW");
    const HANDLE read_end = calls.open(name.c_str());
    // The write end is left open on purpose: the name stays taken, as it always has been.
    if (failed(read_end)) throw win32_error("CreateFileW");
    return {read_end, write_end};
}

} // namespace QV::pipe
