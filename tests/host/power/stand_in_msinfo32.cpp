// Stands in for msinfo32: does what QV_STAND_IN_BEHAVIOUR says.
//
// - write: writes the report, and exits with 0
// - nothing: exits with 0 and leaves no report
// - exit CODE: exits with CODE
// - crash: dies of an access violation
// - hang: tells its number and stays
// - close: closes its output streams, tells its number and stays
// - flood BYTES: writes BYTES to its standard error, then to its output, then both by turns; then the report
// - endless: tells its number and writes to both streams for ever
// - grandchild: starts another of itself, which holds the streams and stays; exits with 0
#include "stand_in_protocol.h"
#include "standard_streams.h"

#include <windows.h>

#include <cstdlib>
#include <string>

namespace {

std::wstring variable(const wchar_t* name) {
    wchar_t value[256] = {};
    const DWORD length = GetEnvironmentVariableW(name, value, 256);
    return {value, length < 256 ? length : 0};
}

void tell_number() {
    const std::wstring name = variable(stand_in::mapping_variable);
    const HANDLE mapping = OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.c_str());
    if (mapping == nullptr) return;
    auto* const notice = static_cast<stand_in::notice*>(
        MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(stand_in::notice)));
    if (notice == nullptr) return;
    notice->process = GetCurrentProcessId();
    SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, (name + L"+ready").c_str()));
}

// The report: the command-line words, each in a line, in UTF-8.
int write_report(int argc, wchar_t** argv) {
    std::wstring words;
    for (int i = 0; i < argc; ++i)
        words += std::wstring(argv[i]) + L"\n";
    std::string bytes(words.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, words.data(), static_cast<int>(words.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    if (argc != 3) return 100;
    const HANDLE file =
        CreateFileW(argv[2], GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return 101;
    DWORD written = 0;
    const bool done = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    return done ? 0 : 102;
}

// Until the test is over, or at once if it is already: nothing may outlive it.
int stay() {
    const HANDLE leave =
        OpenEventW(SYNCHRONIZE, FALSE, (variable(stand_in::mapping_variable) + L"+leave").c_str());
    tell_number();
    if (leave != nullptr) WaitForSingleObject(leave, INFINITE);
    return 98;
}

bool flood(std::size_t bytes) {
    const std::string block(bytes, 'x');
    bool written = helpers::write_error(block) && helpers::write_out(block);
    const std::string piece(1000, 'y');
    for (int i = 0; written && i < 100; ++i)
        written = helpers::write_out(piece) && helpers::write_error(piece);
    return written;
}

int start_grandchild() {
    SetEnvironmentVariableW(stand_in::behaviour_variable, L"hang");
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started = {};
    return CreateProcessW(self, nullptr, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started)
               ? 0
               : 103;
}

void crash() {
    // No dialog and no debugger: the exit code is all that is left.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter([](EXCEPTION_POINTERS* what) -> LONG {
        TerminateProcess(GetCurrentProcess(), what->ExceptionRecord->ExceptionCode);
        return EXCEPTION_EXECUTE_HANDLER;
    });
    volatile int* const nowhere = nullptr;
    *nowhere = 1;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring behaviour = variable(stand_in::behaviour_variable);
    const std::size_t space = behaviour.find(L' ');
    const std::wstring verb = behaviour.substr(0, space);
    const unsigned long number =
        space == std::wstring::npos ? 0 : std::wcstoul(behaviour.c_str() + space, nullptr, 10);
    if (verb == L"write") return write_report(argc, argv);
    if (verb == L"nothing") return 0;
    if (verb == L"exit") return static_cast<int>(number);
    if (verb == L"crash") crash();
    if (verb == L"hang") return stay();
    if (verb == L"close") {
        CloseHandle(GetStdHandle(STD_OUTPUT_HANDLE));
        CloseHandle(GetStdHandle(STD_ERROR_HANDLE));
        return stay();
    }
    if (verb == L"flood") return flood(number) ? write_report(argc, argv) : 104;
    if (verb == L"endless") {
        tell_number();
        while (flood(100'000)) {
        }
        return 0;
    }
    if (verb == L"grandchild") return start_grandchild();
    return 99;
}
