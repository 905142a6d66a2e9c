#include <QVSharedSupport/piped_process.h>

#include "run_child.h"
#include "word_generator.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/write.hpp>
#include <boost/filesystem/operations.hpp>

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using QV::piped_process;
namespace asio = boost::asio;

std::wstring widen(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring wide(utf8.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

// Waits until the child has written its first line.
std::string first_line(piped_process& child) {
    std::string bytes;
    const std::size_t length = asio::read_until(child.standard_output, asio::dynamic_buffer(bytes), '\n');
    return bytes.substr(0, length);
}

HANDLE second_handle(const piped_process& child) {
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), child.process.native_handle(), GetCurrentProcess(), &copy, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return copy;
}

// Whether the process has ended, with exit code 0. Closes the handle.
bool ended_with_0(HANDLE process) {
    DWORD code = 1;
    const bool ended = WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
    GetExitCodeProcess(process, &code);
    CloseHandle(process);
    return ended && code == 0;
}

TEST(make_options, passes_handles_by_name) {
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::unordered_map<std::string, QV::pipe::handle> handles;
    handles.emplace("pipe", event);
    const auto options = piped_process::make_options(L"C:\\a b\\x.exe", {"-v"}, std::move(handles));
    EXPECT_EQ(options.path, L"C:\\a b\\x.exe");
    const std::vector<std::string> expected = {
        "-v", "pipe=" + std::to_string(reinterpret_cast<std::intptr_t>(event))};
    EXPECT_EQ(options.arguments, expected);
    ASSERT_EQ(options.inherited_handles.size(), 1u);
    EXPECT_EQ(options.inherited_handles[0].get(), event);
    EXPECT_FALSE(options.debug_only_this_process);
}

TEST(make_options, writes_handles_as_signed_numbers) {
    std::unordered_map<std::string, QV::pipe::handle> handles;
    // The pseudo-handle of this process is -1; closing it does nothing.
    handles.emplace("self", GetCurrentProcess());
    const auto options = piped_process::make_options(L"x", {}, std::move(handles));
    EXPECT_EQ(options.arguments, std::vector<std::string>{"self=-1"});
}

TEST(make_options, needs_no_handles) {
    const auto options = piped_process::make_options(L"x", {"a", ""}, {});
    EXPECT_EQ(options.arguments, (std::vector<std::string>{"a", ""}));
    EXPECT_TRUE(options.inherited_handles.empty());
}

TEST(piped_process, is_empty_without_a_child) {
    asio::io_context context;
    const piped_process none(context.get_executor());
    EXPECT_FALSE(none.process.is_open());
    EXPECT_FALSE(none.standard_input.is_open());
    EXPECT_FALSE(none.standard_output.is_open());
    EXPECT_FALSE(none.standard_error.is_open());
}

TEST(piped_process, connects_three_streams) {
    asio::io_context context;
    piped_process child(context.get_executor(), helper_program("copy_input"), {});
    std::string sent(100'000, 'x');
    for (std::size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<char>('a' + i % 23);
    // Writing and reading go on together, or both sides would wait for room in a pipe.
    asio::async_write(child.standard_input, asio::buffer(sent),
                      [&](boost::system::error_code, std::size_t) { child.standard_input.close(); });
    const child_outcome outcome = finish_child(context, child);
    EXPECT_EQ(outcome.output, sent);
    EXPECT_EQ(outcome.error, "end of input");
    EXPECT_EQ(outcome.code, 0);
}

// Is the debugger of the process until it has ended, and returns the debug events that it stopped at.
std::multiset<DWORD> debug_until_exit(unsigned long pid) {
    std::multiset<DWORD> seen;
    DEBUG_EVENT event = {};
    while (event.dwDebugEventCode != EXIT_PROCESS_DEBUG_EVENT && WaitForDebugEvent(&event, INFINITE)) {
        EXPECT_EQ(event.dwProcessId, pid);
        seen.insert(event.dwDebugEventCode);
        if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT)
            CloseHandle(event.u.CreateProcessInfo.hFile);
        if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT) CloseHandle(event.u.LoadDll.hFile);
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, DBG_CONTINUE);
    }
    return seen;
}

TEST(piped_process, is_debugged_on_request) {
    asio::io_context context;
    auto options = piped_process::make_options(helper_program("exit_with"), {"6"}, {});
    options.debug_only_this_process = true;
    piped_process child(context.get_executor(), std::move(options));
    BOOL debugged = FALSE;
    EXPECT_TRUE(CheckRemoteDebuggerPresent(child.process.native_handle(), &debugged));
    ASSERT_TRUE(debugged);
    const std::multiset<DWORD> seen = debug_until_exit(child.process.get_pid());
    EXPECT_EQ(seen.count(CREATE_PROCESS_DEBUG_EVENT), 1u);
    EXPECT_EQ(seen.count(EXIT_PROCESS_DEBUG_EVENT), 1u);
    child.process.wait();
    EXPECT_EQ(child.process.get_error_code(), 6);
}

TEST(piped_process, is_not_debugged_otherwise) {
    asio::io_context context;
    const piped_process child(context.get_executor(), helper_program("hang"), {});
    BOOL debugged = TRUE;
    EXPECT_TRUE(CheckRemoteDebuggerPresent(child.process.native_handle(), &debugged));
    EXPECT_FALSE(debugged);
}

TEST(piped_process, reports_the_exit_code) {
    EXPECT_EQ(run_child("exit_with", {"42"}).code, 42);
    EXPECT_EQ(run_child("crash", {}).code, static_cast<int>(0xC0000005));
}

TEST(piped_process, keeps_what_a_crashing_child_wrote) {
    EXPECT_EQ(run_child("crash", {}).error, "about to crash");
}

TEST(piped_process, takes_more_output_than_a_pipe_holds) {
    const child_outcome outcome = run_child("flood", {"300000", "200000"});
    EXPECT_EQ(outcome.output, std::string(300'000, 'o'));
    EXPECT_EQ(outcome.error, std::string(200'000, 'e'));
    EXPECT_EQ(outcome.code, 0);
}

TEST(piped_process, works_on_a_thread_pool) {
    asio::thread_pool pool(3);
    piped_process child(pool.get_executor(), helper_program("flood"), {"300000", "200000"});
    std::string output;
    std::string error;
    const auto ignore = [](boost::system::error_code, std::size_t) {};
    asio::async_read(child.standard_output, asio::dynamic_buffer(output), ignore);
    asio::async_read(child.standard_error, asio::dynamic_buffer(error), ignore);
    pool.join();
    EXPECT_EQ(output.size(), 300'000u);
    EXPECT_EQ(error.size(), 200'000u);
}

TEST(piped_process, ends_a_running_child_when_destroyed) {
    asio::io_context context;
    HANDLE watch = nullptr;
    {
        piped_process child(context.get_executor(), helper_program("hang"), {});
        EXPECT_EQ(first_line(child), "ready\n");
        watch = second_handle(child);
        EXPECT_EQ(child.process.get_error_code(), std::nullopt);
    }
    EXPECT_TRUE(ended_with_0(watch));
}

TEST(piped_process, ends_a_running_child_when_assigned_over) {
    asio::io_context context;
    piped_process child(context.get_executor(), helper_program("hang"), {});
    EXPECT_EQ(first_line(child), "ready\n");
    const HANDLE watch = second_handle(child);
    piped_process other(context.get_executor(), helper_program("copy_input"), {});
    child = std::move(other);
    EXPECT_TRUE(ended_with_0(watch));
    EXPECT_FALSE(other.process.is_open()); // NOLINT(bugprone-use-after-move): a moved-from one is empty
    EXPECT_FALSE(other.standard_output.is_open());
    asio::write(child.standard_input, asio::buffer("moved\n", 6));
    child.standard_input.close();
    const child_outcome outcome = finish_child(context, child);
    EXPECT_EQ(outcome.output, "moved\n");
    EXPECT_EQ(outcome.code, 0);
}

TEST(piped_process, moves) {
    asio::io_context context;
    piped_process first(context.get_executor(), helper_program("copy_input"), {});
    piped_process second(std::move(first));
    EXPECT_FALSE(first.process.is_open()); // NOLINT(bugprone-use-after-move)
    second.standard_input.close();
    EXPECT_EQ(finish_child(context, second).error, "end of input");
}

TEST(piped_process, hands_named_handles_to_the_child) {
    asio::io_context context;
    QV::pipe::read_pipe extra = QV::pipe::make_read_pipe(context.get_executor());
    std::unordered_map<std::string, QV::pipe::handle> handles;
    handles.emplace("pipe", std::move(extra.write_end));
    piped_process child(context.get_executor(), piped_process::make_options(helper_program("write_to_handle"),
                                                                            {"-v"}, std::move(handles)));
    std::string got;
    asio::async_read(extra.read_end, asio::dynamic_buffer(got),
                     [](boost::system::error_code, std::size_t) {});
    // The read above ends because nobody but the child holds the write end.
    const child_outcome outcome = finish_child(context, child);
    EXPECT_EQ(got, "through the handle");
    EXPECT_EQ(outcome.code, 0);
}

// Starts print_argv with `arguments` and expects exactly these words, by both parsers of Windows.
void expect_same_words(const std::vector<std::string>& arguments) {
    const QV::filesystem::path program = helper_program("print_argv");
    const child_outcome outcome = run_child("print_argv", arguments);
    ASSERT_EQ(outcome.code, 0);
    std::vector<std::wstring> expected = {program.wstring()};
    for (const std::string& argument : arguments)
        expected.push_back(widen(argument));
    std::vector<std::vector<std::wstring>> seen(1);
    std::wstring all(outcome.output.size() / sizeof(wchar_t), L'\0');
    std::memcpy(all.data(), outcome.output.data(), outcome.output.size());
    for (std::size_t at = 0; at < all.size(); at += seen.back().empty() ? 2 : seen.back().back().size() + 1) {
        const std::wstring word = all.c_str() + at;
        if (word == L"\uE000")
            seen.emplace_back();
        else
            seen.back().push_back(word);
    }
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0], expected) << "the C runtime's words";
    EXPECT_EQ(seen[1], expected) << "CommandLineToArgvW's words";
}

TEST(piped_process, gives_the_child_exactly_the_words) {
    expect_same_words({});
    expect_same_words(
        {"", "a b", "\"", "\\", "\\\\\"", "x\\", "*", "?", "\xC3\xA9\xE6\xB0\xB4\xF0\x9F\x8D\x8C"});
}

TEST(piped_process, gives_the_child_thousands_of_generated_words) {
    for (unsigned seed = 0; seed < 10; ++seed)
        expect_same_words(make_words(400, seed));
}

TEST(piped_process, drops_invalid_utf8_from_words) {
    const child_outcome outcome = run_child("exit_with", {"4\xFF"
                                                          "2"});
    EXPECT_EQ(outcome.code, 42);
}

TEST(piped_process, names_the_function_when_the_program_is_missing) {
    asio::io_context context;
    { const auto warm_up = QV::pipe::make_read_pipe(context.get_executor()); }
    const unsigned long before = open_handles();
    try {
        const piped_process child(context.get_executor(), helper_program("no_such_program"), {});
        FAIL() << "nothing thrown";
    } catch (const QV::win32_error& error) {
        EXPECT_EQ(error.function_name(), "CreateProcessW");
        EXPECT_EQ(error.code().value(), ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(open_handles(), before) << "no pipe is left open";
}

TEST(piped_process, names_the_function_when_an_extra_handle_is_bad) {
    asio::io_context context;
    { const auto warm_up = QV::pipe::make_read_pipe(context.get_executor()); }
    const unsigned long before = open_handles();
    try {
        auto options = piped_process::make_options(helper_program("exit_with"), {"0"}, {});
        options.inherited_handles.emplace_back();
        const piped_process child(context.get_executor(), std::move(options));
        FAIL() << "nothing thrown";
    } catch (const QV::win32_error& error) {
        EXPECT_EQ(error.function_name(), "SetHandleInformation");
        EXPECT_EQ(error.code().value(), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(open_handles(), before);
}

TEST(piped_process, closes_extra_handles_when_it_fails) {
    asio::io_context context;
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::unordered_map<std::string, QV::pipe::handle> handles;
    handles.emplace("event", event);
    auto options = piped_process::make_options(helper_program("no_such_program"), {}, std::move(handles));
    EXPECT_THROW(piped_process(context.get_executor(), std::move(options)), QV::win32_error);
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(event, &flags));
}

TEST(piped_process, refuses_words_with_a_nul) {
    asio::io_context context;
    EXPECT_THROW(piped_process(context.get_executor(), helper_program("exit_with"), {std::string("3\0x", 3)}),
                 std::invalid_argument);
    const std::wstring path = helper_program("exit_with").wstring();
    EXPECT_THROW(piped_process(context.get_executor(), path + std::wstring(L"\0x", 2), {}),
                 std::invalid_argument);
}

TEST(piped_process, starts_programs_with_any_name) {
    const boost::filesystem::path odd = helper_program("exit_with").parent_path() / L"a b \u6C34.exe";
    boost::filesystem::copy_file(helper_program("exit_with"), odd,
                                 boost::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(run_child(piped_process::make_options(odd, {"5"}, {})).code, 5);
    boost::filesystem::remove(odd);
}

} // namespace
