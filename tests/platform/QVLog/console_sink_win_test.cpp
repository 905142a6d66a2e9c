#include <QVLog/QVLog.h>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

namespace {

using namespace QV::Logging;

/// Puts another handle in the place of standard error, and a console sink in that of all others.
class console_sink : public testing::Test {
protected:
    void TearDown() override {
        SetStdHandle(STD_ERROR_HANDLE, old_stream_);
        set_sinks(old_sinks_);
    }

    const logger log = get_logger("System");

private:
    const HANDLE old_stream_ = GetStdHandle(STD_ERROR_HANDLE);
    const sink_list old_sinks_ = set_sinks({make_console_sink()});
};

struct pipe_ends {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
};

pipe_ends make_pipe() {
    pipe_ends ends;
    EXPECT_TRUE(CreatePipe(&ends.read, &ends.write, nullptr, 0));
    return ends;
}

/// A pipe as a `piped_process` gives one to its child: both ends overlapped.
pipe_ends make_overlapped_pipe() {
    const std::wstring name = L"\\\\.\\pipe\\QVLog_test_" + std::to_wstring(GetCurrentProcessId());
    pipe_ends ends;
    ends.write = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_OUTBOUND | FILE_FLAG_OVERLAPPED, 0, 1, 1024, 1024,
                                  0, nullptr);
    EXPECT_NE(ends.write, INVALID_HANDLE_VALUE);
    ends.read = CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(ends.read, INVALID_HANDLE_VALUE);
    return ends;
}

/// Reads up to the line end of a message; on a thread of its own, because pipes are small.
class line_reader {
public:
    explicit line_reader(HANDLE handle)
        : thread_([this, handle] {
              std::array<char, 4096> part{};
              DWORD size = 0;
              while (!text_.ends_with('\n') &&
                     ReadFile(handle, part.data(), DWORD(part.size()), &size, nullptr))
                  text_.append(part.data(), size);
          }) {}
    std::string get() {
        thread_.join();
        return text_;
    }

private:
    std::string text_;
    std::thread thread_;
};

void expect_messages_through(pipe_ends ends, const logger& log) {
    SetStdHandle(STD_ERROR_HANDLE, ends.write);
    const std::string large(300'000, 'x');
    for (const std::string& text : {std::string("Ger\xC3\xA4t"), large}) {
        line_reader reader(ends.read);
        SetLastError(12345);
        log.log(log_level::error, "{}", text);
        EXPECT_EQ(GetLastError(), 12345U);
        const std::string line = reader.get();
        EXPECT_TRUE(line.starts_with('['));
        EXPECT_NE(line.find("] [error] [System] ["), std::string::npos);
        EXPECT_TRUE(line.ends_with("] " + text + "\r\n")) << line.substr(0, 200);
    }
    CloseHandle(ends.write);
    CloseHandle(ends.read);
}

TEST_F(console_sink, writes_utf8_to_a_pipe) {
    expect_messages_through(make_pipe(), log);
}

TEST_F(console_sink, writes_whole_messages_to_an_overlapped_pipe) {
    expect_messages_through(make_overlapped_pipe(), log);
}

TEST_F(console_sink, appends_to_a_file) {
    std::array<wchar_t, MAX_PATH> folder{};
    std::array<wchar_t, MAX_PATH> path{};
    ASSERT_NE(GetTempPathW(DWORD(folder.size()), folder.data()), 0U);
    ASSERT_NE(GetTempFileNameW(folder.data(), L"log", 0, path.data()), 0U);
    const HANDLE file = CreateFileW(path.data(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    SetStdHandle(STD_ERROR_HANDLE, file);
    DWORD size = 0;
    ASSERT_TRUE(WriteFile(file, "first\r\n", 7, &size, nullptr));
    log.log(log_level::error, "second");
    ASSERT_TRUE(WriteFile(file, "third\r\n", 7, &size, nullptr));
    log.log(log_level::error, "fourth");
    std::array<char, 1000> all{};
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    ASSERT_TRUE(ReadFile(file, all.data(), DWORD(all.size()), &size, nullptr));
    CloseHandle(file);
    const std::string text(all.data(), size);
    EXPECT_TRUE(text.starts_with("first\r\n[")) << text;
    EXPECT_NE(text.find("] second\r\nthird\r\n["), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("] fourth\r\n")) << text;
}

TEST_F(console_sink, a_broken_pipe_is_counted) {
    const pipe_ends ends = make_pipe();
    SetStdHandle(STD_ERROR_HANDLE, ends.write);
    CloseHandle(ends.read);
    const auto before = failure_count();
    log.log(log_level::error, "nobody reads");
    EXPECT_EQ(failure_count(), before + 1);
    CloseHandle(ends.write);
}

TEST_F(console_sink, without_standard_error_nothing_is_written) {
    const auto before = failure_count();
    for (const HANDLE none : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE}) {
        SetStdHandle(STD_ERROR_HANDLE, none);
        log.log(log_level::error, "nowhere to go");
    }
    EXPECT_EQ(failure_count(), before);
}

TEST_F(console_sink, shows_any_alphabet_on_a_console) {
    const auto open_screen = [] {
        return CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           nullptr, OPEN_EXISTING, 0, nullptr);
    };
    CONSOLE_SCREEN_BUFFER_INFO state{};
    HANDLE screen = open_screen();
    if (!GetConsoleScreenBufferInfo(screen, &state)) {
        // Started without a console, or with one that shows nothing.
        const HANDLE old_output = GetStdHandle(STD_OUTPUT_HANDLE);
        FreeConsole();
        if (!AllocConsole()) GTEST_SKIP() << "no console can be made here: " << GetLastError();
        SetStdHandle(STD_OUTPUT_HANDLE, old_output);
        screen = open_screen();
        // Wine shows a new console as a window; without a display there is none to write to.
        if (!GetConsoleScreenBufferInfo(screen, &state)) GTEST_SKIP() << "the console has no screen here";
    }
    SetStdHandle(STD_ERROR_HANDLE, screen);
    log.log(log_level::error, "Ger\xC3\xA4t \xD0\x9C\xD0\xB8\xD1\x80");
    ASSERT_TRUE(GetConsoleScreenBufferInfo(screen, &state)) << GetLastError();
    // The line may be folded, and the screen may have scrolled: everything above the cursor is looked
    // through.
    std::wstring line(
        static_cast<std::size_t>(state.dwSize.X) * static_cast<std::size_t>(state.dwCursorPosition.Y), L'\0');
    DWORD size = 0;
    ASSERT_TRUE(ReadConsoleOutputCharacterW(screen, line.data(), DWORD(line.size()), {0, 0}, &size))
        << GetLastError();
    CloseHandle(screen);
    EXPECT_NE(line.find(L"Ger\u00E4t \u041C\u0438\u0440"), std::wstring::npos);
}

} // namespace
