#include "system_output.h"

#include "windows_text.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include <windows.h>

namespace QV::Logging::system_output {

namespace {

constexpr DWORD most_at_once = 16U * 1024; // consoles refuse more than some 30,000 units

[[noreturn]] void throw_last_error(const char* function) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), function);
}

void write_console(HANDLE console, std::wstring_view text) {
    while (!text.empty()) {
        DWORD written = 0;
        const auto units = static_cast<DWORD>(std::min<std::size_t>(text.size(), most_at_once));
        if (!WriteConsoleW(console, text.data(), units, &written, nullptr)) throw_last_error("WriteConsoleW");
        text.remove_prefix(written);
    }
}

void write_file(HANDLE file, std::string_view text) {
    const std::unique_ptr<void, decltype(&CloseHandle)> done(CreateEventW(nullptr, TRUE, FALSE, nullptr),
                                                             &CloseHandle);
    if (!done) throw_last_error("CreateEventW");
    while (!text.empty()) {
        // Whoever started us may have given us an overlapped handle; a plain write to one of those may return
        // before it is done. A handle that is not overlapped takes this form too. The offset means "at the
        // end".
        OVERLAPPED operation{};
        operation.Offset = operation.OffsetHigh = 0xFFFF'FFFF;
        operation.hEvent = done.get();
        DWORD written = 0;
        const auto bytes = static_cast<DWORD>(std::min<std::size_t>(text.size(), most_at_once));
        if (!WriteFile(file, text.data(), bytes, nullptr, &operation) && GetLastError() != ERROR_IO_PENDING)
            throw_last_error("WriteFile");
        if (!GetOverlappedResult(file, &operation, &written, TRUE)) throw_last_error("GetOverlappedResult");
        text.remove_prefix(written);
    }
}

} // namespace

void write_standard_error(std::string_view text) {
    const HANDLE stream = GetStdHandle(STD_ERROR_HANDLE);
    if (!stream || stream == INVALID_HANDLE_VALUE) return;
    DWORD mode = 0;
    if (GetConsoleMode(stream, &mode))
        write_console(stream, windows_text::to_wide(text));
    else
        write_file(stream, text);
}

error_keeper::error_keeper() noexcept : errno_(errno), last_error_(GetLastError()) {}

error_keeper::~error_keeper() {
    errno = errno_;
    SetLastError(last_error_);
}

} // namespace QV::Logging::system_output
