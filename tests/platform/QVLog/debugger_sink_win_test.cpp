#include <QVLog/QVLog.h>

#include <gtest/gtest.h>

#include <string>

#include <windows.h>

namespace {

using namespace QV::Logging;

std::wstring wide_output;
std::string narrow_output;

// How the system hands such output to a debugger: as an exception, whose parameters are length and address.
// Systems before Windows 10 know the narrow form only.
constexpr DWORD wide_print = 0x4001000A;
constexpr DWORD narrow_print = 0x40010006;

LONG CALLBACK catch_output(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    // NOLINTBEGIN(performance-no-int-to-ptr): the system passes the address as a number
    if (record.ExceptionCode == wide_print && record.NumberParameters >= 2)
        wide_output = reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]);
    if (record.ExceptionCode == narrow_print && record.NumberParameters >= 2)
        narrow_output = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    // NOLINTEND(performance-no-int-to-ptr)
    return EXCEPTION_CONTINUE_SEARCH;
}

TEST(debugger_sink, hands_the_line_to_the_debugger) {
    const sink_list old_sinks = set_sinks({make_debugger_sink()});
    void* const handler = AddVectoredExceptionHandler(1, catch_output);
    get_logger("System").log(log_level::error, "Ger\xC3\xA4t {}", 1);
    RemoveVectoredExceptionHandler(handler);
    set_sinks(old_sinks);
    if (wide_output.empty()) {
        EXPECT_TRUE(narrow_output.starts_with("[error] [System] [")) << narrow_output;
        EXPECT_TRUE(narrow_output.ends_with(" 1\n")) << narrow_output;
    } else {
        EXPECT_TRUE(wide_output.starts_with(L"[error] [System] ["));
        EXPECT_TRUE(wide_output.ends_with(L"] Ger\u00E4t 1\n"));
    }
}

} // namespace
