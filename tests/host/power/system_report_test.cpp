#include <QVSharedSupport/SystemConfiguration.h>

#include "../../files/temporary_folder.h"
#include "captured_log.h"
#include "helper_programs.h"
#include "named_threads.h"
#include "stand_in.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include <windows.h>

#include <chrono>
#include <fstream>
#include <future>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;
using QV::SystemConfiguration::CreateSystemReportFile;
using stand_in::director;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr auto no_limit = std::chrono::nanoseconds::max();
constexpr char timed_out[] = "Failed to complete system report task before timeout";
constexpr wchar_t worker[] = L"QV::SystemConfiguration::CreateSystemReportFile::worker[0]";
const QV::filesystem::path program = L"C:\\Windows\\System32\\msinfo32.exe";

std::string read_file(const QV::filesystem::path& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What the call throws; empty for nothing.
std::string failure_of(const QV::filesystem::path& report, std::chrono::nanoseconds timeout) {
    try {
        CreateSystemReportFile(report, timeout);
        return "";
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
}

// What the stand-in writes when it is asked for `report`.
std::string expected_report(const QV::filesystem::path& report) {
    const std::wstring words = program.wstring() + L"\n/nfo\n" + report.wstring() + L"\n";
    std::string bytes(words.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, words.data(), static_cast<int>(words.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

class system_report : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (stand_in::may_be_installed()) tool = std::make_unique<stand_in::installed>();
    }
    static void TearDownTestSuite() { tool.reset(); }
    void SetUp() override {
        if (!tool) GTEST_SKIP() << "the system's own msinfo32 is left alone";
    }
    void TearDown() override { EXPECT_EQ(count_threads_named(worker), 0) << "a queue was left behind"; }

    static inline std::unique_ptr<stand_in::installed> tool;
    temporary_folder folder;
    QV::filesystem::path report = folder.path(L"report.nfo");
};

// Runs into the time limit with a stand-in that stays, and returns that process as a handle. A limit that is
// over before the stand-in could say who it is is doubled.
HANDLE time_out_on(const std::wstring& behaviour, const QV::filesystem::path& report) {
    for (std::chrono::nanoseconds limit = 250ms;; limit *= 2) {
        const director directed(behaviour);
        std::future<std::string> call =
            std::async(std::launch::async, [&] { return failure_of(report, limit); });
        HANDLE process = nullptr;
        while (process == nullptr && call.wait_for(0s) != std::future_status::ready)
            if (WaitForSingleObject(directed.ready(), 10) == WAIT_OBJECT_0) process = directed.open_process();
        EXPECT_EQ(call.get(), timed_out);
        if (process != nullptr) return process;
    }
}

bool has_ended(HANDLE process) {
    return WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
}

TEST_F(system_report, is_written) {
    const director directed(L"write");
    const test::captured_log log;
    EXPECT_EQ(failure_of(report, no_limit), "");
    EXPECT_EQ(read_file(report), expected_report(report));
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].logger, "System");
    EXPECT_EQ(lines[0].level, QV::Logging::log_level{2});
    // The signature as the compiler writes it, the path, and the time as a number of seconds.
    const std::string middle = "): System report written to '" + report.string() + "' in ";
    const std::string& text = lines[0].text;
    EXPECT_THAT(text, StartsWith("void QV::SystemConfiguration::CreateSystemReportFile("));
    ASSERT_THAT(text, AllOf(HasSubstr(middle), EndsWith(" seconds")));
    const std::string seconds = text.substr(text.find(middle) + middle.size());
    std::size_t length = 0;
    EXPECT_GE(std::stof(seconds, &length), 0.0F);
    EXPECT_EQ(seconds.substr(length), " seconds");
}

TEST_F(system_report, takes_names_beyond_ascii) {
    const director directed(L"write");
    for (const wchar_t* name :
         {L"Bericht äöü ß.nfo", L"отчёт.nfo", L"報告 \U0001F4C4.nfo", L"a b' & %PATH%.nfo"}) {
        const QV::filesystem::path odd = folder.path(name);
        EXPECT_EQ(failure_of(odd, no_limit), "");
        EXPECT_EQ(read_file(odd), expected_report(odd));
    }
}

TEST_F(system_report, is_written_to_the_current_folder_without_another) {
    const director directed(L"write");
    const QV::filesystem::path before = boost::filesystem::current_path();
    boost::filesystem::current_path(folder.root.native());
    const QV::filesystem::path name = QV::SystemConfiguration::GetDefaultSystemReportFilename();
    EXPECT_EQ(failure_of(name, no_limit), "");
    boost::filesystem::current_path(before);
    EXPECT_EQ(read_file(folder.path(L"SystemInfo.nfo")), expected_report(name));
}

TEST_F(system_report, refuses_names_that_cannot_be_passed_on) {
    const director directed(L"write");
    EXPECT_EQ(failure_of(std::wstring(L"a\0b", 3), no_limit),
              "Failed to launch system report task: Command-line word contains a NUL character");
    EXPECT_EQ(failure_of(folder.path(L"\xD800.nfo"), no_limit),
              "Failed to launch system report task: Conversion failed");
}

TEST_F(system_report, leaves_an_empty_name_to_the_tool) {
    const director directed(L"write");
    EXPECT_EQ(failure_of({}, no_limit),
              "System report task reported failure: msinfo32 exited with error 101");
}

TEST_F(system_report, takes_the_tools_word_for_it) {
    const director directed(L"nothing");
    EXPECT_EQ(failure_of(report, no_limit), "");
    EXPECT_FALSE(boost::filesystem::exists(report));
}

TEST_F(system_report, tells_the_exit_code) {
    const std::string failure = "System report task reported failure: ";
    {
        const director directed(L"exit 7");
        EXPECT_EQ(failure_of(report, no_limit), failure + "msinfo32 exited with error 7");
    }
    {
        const director directed(L"exit 259");
        EXPECT_EQ(failure_of(report, no_limit), failure + "Could not get return code from msinfo32");
    }
    const director directed(L"crash");
    EXPECT_EQ(failure_of(report, no_limit), failure + "msinfo32 exited with error -1073741819");
}

TEST_F(system_report, survives_a_flood) {
    const director directed(L"flood 4000000");
    EXPECT_EQ(failure_of(report, no_limit), "");
    EXPECT_EQ(read_file(report), expected_report(report));
}

TEST_F(system_report, ends_the_tool_when_time_is_up) {
    for (const wchar_t* behaviour : {L"hang", L"close", L"endless"}) {
        const HANDLE process = time_out_on(behaviour, report);
        EXPECT_TRUE(has_ended(process));
        CloseHandle(process);
    }
}

TEST_F(system_report, has_no_time_to_start_anything) {
    const director directed(L"write");
    EXPECT_EQ(failure_of(report, 0ns), timed_out);
    EXPECT_EQ(failure_of(report, -1h), timed_out);
    EXPECT_FALSE(boost::filesystem::exists(report));
}

TEST_F(system_report, may_run_out_of_time_at_any_moment) {
    const director directed(L"write");
    for (std::chrono::nanoseconds limit = 1ms; limit < 300ms; limit = limit * 3 / 2) {
        const std::string failure = failure_of(report, limit);
        EXPECT_THAT(failure, testing::AnyOf("", timed_out));
        EXPECT_EQ(count_threads_named(worker), 0);
    }
}

TEST_F(system_report, does_not_wait_for_what_the_tool_has_started) {
    // It exits with 0, but somebody else still holds its streams.
    const HANDLE grandchild = time_out_on(L"grandchild", report);
    EXPECT_FALSE(has_ended(grandchild));
    TerminateProcess(grandchild, 0);
    WaitForSingleObject(grandchild, INFINITE);
    CloseHandle(grandchild);
}

TEST_F(system_report, may_be_made_several_times_at_once) {
    const director directed(L"write");
    std::vector<std::thread> callers;
    for (int i = 0; i < 6; ++i)
        callers.emplace_back([&, i] {
            const QV::filesystem::path own = folder.path(std::to_wstring(i) + L".nfo");
            EXPECT_EQ(failure_of(own, no_limit), "");
            EXPECT_EQ(read_file(own), expected_report(own));
        });
    for (std::thread& caller : callers)
        caller.join();
}

TEST_F(system_report, leaves_no_handle_open) {
    const director directed(L"write");
    const auto all_outcomes = [&] {
        EXPECT_EQ(failure_of(report, no_limit), "");
        EXPECT_EQ(failure_of(report, 1ms), timed_out);
    };
    all_outcomes();
    const unsigned long before = open_handles();
    for (int i = 0; i < 5; ++i)
        all_outcomes();
    EXPECT_LE(open_handles(), before);
}

TEST(system_report_without_tool, tells_why_it_could_not_be_started) {
    if (!stand_in::may_be_installed()) GTEST_SKIP() << "the system's own msinfo32 is left alone";
    const stand_in::installed tool;
    ASSERT_TRUE(DeleteFileW(program.c_str()));
    EXPECT_EQ(failure_of(L"report.nfo", no_limit),
              std::string("Failed to launch system report task: ") +
                  QV::win32_error("CreateProcessW", ERROR_FILE_NOT_FOUND).what());
}

} // namespace
