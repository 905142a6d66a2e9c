#pragma once

#include <windows.h>

#include <cstddef>
#include <string_view>

/// Standard streams for the child programs of the tests, which get overlapped pipes for them.
namespace helpers {

/// Writes all of `bytes`; false when the reader has gone.
inline bool write_all(HANDLE stream, std::string_view bytes) {
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    bool written = true;
    while (written && !bytes.empty()) {
        OVERLAPPED overlapped = {};
        overlapped.hEvent = event;
        DWORD count = 0;
        constexpr std::size_t most = 1024 * 1024;
        const auto size = static_cast<DWORD>(bytes.size() < most ? bytes.size() : most);
        written =
            WriteFile(stream, bytes.data(), size, nullptr, &overlapped) || GetLastError() == ERROR_IO_PENDING;
        written = written && GetOverlappedResult(stream, &overlapped, &count, TRUE);
        bytes.remove_prefix(count);
    }
    CloseHandle(event);
    return written;
}

/// Reads up to `size` bytes; 0 at the end of the stream.
inline std::size_t read_some(HANDLE stream, char* to, std::size_t size) {
    OVERLAPPED overlapped = {};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD count = 0;
    if (ReadFile(stream, to, static_cast<DWORD>(size), nullptr, &overlapped) ||
        GetLastError() == ERROR_IO_PENDING) {
        if (!GetOverlappedResult(stream, &overlapped, &count, TRUE)) count = 0;
    }
    CloseHandle(overlapped.hEvent);
    return count;
}

inline bool write_out(std::string_view bytes) {
    return write_all(GetStdHandle(STD_OUTPUT_HANDLE), bytes);
}
inline bool write_error(std::string_view bytes) {
    return write_all(GetStdHandle(STD_ERROR_HANDLE), bytes);
}

} // namespace helpers
