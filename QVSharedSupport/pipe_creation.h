#pragma once

#include <string>

namespace QV::pipe {

/// The calls that make the two ends, so that a test can let either fail.
struct pipe_calls {
    void* (*create)(const wchar_t* name); ///< the write end; null or `INVALID_HANDLE_VALUE` when it fails
    void* (*open)(const wchar_t* name);   ///< the read end; likewise
};

/// The calls of the system.
extern const pipe_calls system_pipe_calls;

struct raw_ends {
    void* read_end;
    void* write_end;
};

/// Makes the pipe called `name`. @throws QV::win32_error "CreateNamedPipeW" or "CreateFileW"
raw_ends create_pipe(const std::wstring& name, const pipe_calls& calls = system_pipe_calls);

} // namespace QV::pipe
