#include <QVSharedSupport/process_handle.h>

#include "../helpers/captured_log.h"
#include "helper_programs.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gtest/gtest.h>

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/system_executor.hpp>
#include <boost/system/system_error.hpp>

#include <windows.h>

#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

using QV::process_handle;

static_assert(!std::is_copy_constructible_v<process_handle>);
static_assert(std::is_move_constructible_v<process_handle>);

// Starts a helper with a plain call; hang() is one that never ends by itself.
HANDLE start(const std::string& name, const std::wstring& arguments = L"") {
    const std::wstring program = helper_program(name).wstring();
    std::wstring line = L"\"" + program + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                        nullptr, &startup, &started))
        return nullptr;
    CloseHandle(started.hThread);
    return started.hProcess;
}

HANDLE hang() {
    return start("hang");
}

// A second handle to the same process, to look at it after its owner let go.
HANDLE second_handle(HANDLE process) {
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), process, GetCurrentProcess(), &copy, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return copy;
}

// The exit code of an ended process; 259 while it runs. Closes the handle.
DWORD exit_code(HANDLE process) {
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    CloseHandle(process);
    return code;
}

class process_handle_test : public testing::Test {
protected:
    boost::asio::io_context context_;
    boost::asio::any_io_executor executor_ = context_.get_executor();
};

TEST_F(process_handle_test, holds_no_process_at_first) {
    process_handle none(executor_);
    EXPECT_FALSE(none.is_open());
    EXPECT_EQ(none.get_pid(), 0u);
    EXPECT_NO_THROW(none.close());
    EXPECT_NO_THROW(none.wait());
    EXPECT_EQ(none.get_executor(), executor_);
}

TEST_F(process_handle_test, names_the_function_when_there_is_no_process) {
    void* const null = nullptr;
    void* const invalid = INVALID_HANDLE_VALUE; // for Windows also the calling process: it must survive this
    process_handle never_held(executor_);
    process_handle null_one(executor_, null);
    process_handle invalid_one(executor_, invalid);
    for (process_handle* none : {&never_held, &null_one, &invalid_one}) {
        EXPECT_FALSE(none->is_open());
        EXPECT_EQ(none->native_handle(), nullptr);
        EXPECT_EQ(none->get_pid(), 0u);
        try {
            none->kill();
            FAIL() << "nothing thrown";
        } catch (const QV::win32_error& error) {
            EXPECT_EQ(error.function_name(), "TerminateProcess");
            EXPECT_EQ(error.code().value(), ERROR_INVALID_HANDLE);
        }
        try {
            (void)none->get_error_code();
            FAIL() << "nothing thrown";
        } catch (const QV::win32_error& error) {
            EXPECT_EQ(error.function_name(), "GetExitCodeProcess");
            EXPECT_EQ(error.code().value(), ERROR_INVALID_HANDLE);
        }
    }
}

TEST_F(process_handle_test, knows_its_child) {
    void* const native = hang();
    process_handle child(executor_, native);
    EXPECT_TRUE(child.is_open());
    EXPECT_EQ(child.native_handle(), native);
    EXPECT_EQ(child.get_pid(), GetProcessId(native));
    EXPECT_EQ(child.get_error_code(), std::nullopt);
}

TEST_F(process_handle_test, tells_the_exit_code) {
    for (const int code : {0, 3, 255, -1}) {
        void* const native = start("exit_with", std::to_wstring(static_cast<unsigned>(code)));
        process_handle child(executor_, native);
        child.wait();
        EXPECT_EQ(child.get_error_code(), code);
    }
}

TEST_F(process_handle_test, takes_259_for_a_running_child) {
    void* const native = start("exit_with", L"259");
    process_handle child(executor_, native);
    child.wait();
    EXPECT_EQ(child.get_error_code(), std::nullopt);
}

TEST_F(process_handle_test, kills_with_exit_code_0) {
    void* const native = hang();
    process_handle child(executor_, native);
    child.kill();
    child.wait();
    EXPECT_EQ(child.get_error_code(), 0);
}

TEST_F(process_handle_test, kills_an_ended_child_without_error) {
    void* const native = start("exit_with", L"3");
    process_handle child(executor_, native);
    child.wait();
    EXPECT_NO_THROW(child.kill());
    EXPECT_EQ(child.get_error_code(), 3);
}

TEST_F(process_handle_test, is_empty_after_close) {
    void* const native = hang();
    const HANDLE watch = second_handle(native);
    process_handle child(executor_, native);
    child.close();
    EXPECT_FALSE(child.is_open());
    EXPECT_EQ(WaitForSingleObject(watch, 0), WAIT_OBJECT_0)
        << "close() returns only once the child has ended";
    EXPECT_EQ(exit_code(watch), 0u);
    EXPECT_NO_THROW(child.close());
}

TEST_F(process_handle_test, ends_its_child_when_destroyed) {
    void* const native = hang();
    const HANDLE watch = second_handle(native);
    { const process_handle child(executor_, native); }
    EXPECT_EQ(WaitForSingleObject(watch, 0), WAIT_OBJECT_0);
    EXPECT_EQ(exit_code(watch), 0u);
}

TEST_F(process_handle_test, ends_the_old_child_when_assigned) {
    void* const first = hang();
    void* const second = hang();
    const HANDLE watch = second_handle(first);
    process_handle child(executor_, first);
    child.assign(second);
    EXPECT_EQ(WaitForSingleObject(watch, 0), WAIT_OBJECT_0);
    EXPECT_EQ(exit_code(watch), 0u);
    EXPECT_EQ(child.native_handle(), second);
    EXPECT_EQ(child.get_error_code(), std::nullopt);
}

TEST_F(process_handle_test, is_assigned_over_nothing) {
    for (void* const nothing : {static_cast<void*>(nullptr), INVALID_HANDLE_VALUE}) {
        process_handle child(executor_, nothing);
        child.assign(nothing);
        void* const native = start("exit_with", L"4");
        child.assign(native);
        child.wait();
        EXPECT_EQ(child.get_error_code(), 4);
    }
}

TEST_F(process_handle_test, moves) {
    void* const native = hang();
    process_handle first(executor_, native);
    process_handle second(std::move(first));
    EXPECT_FALSE(first.is_open()); // NOLINT(bugprone-use-after-move): a moved-from one holds no process
    EXPECT_EQ(second.native_handle(), native);
    void* const other = hang();
    const HANDLE watch = second_handle(other);
    process_handle third(executor_, other);
    third = std::move(second);
    EXPECT_EQ(third.native_handle(), native);
    EXPECT_FALSE(second.is_open()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(WaitForSingleObject(watch, 0), WAIT_OBJECT_0) << "move assignment ends the child held before";
    EXPECT_EQ(exit_code(watch), 0u);
    process_handle& same = third;
    third = std::move(same);
    EXPECT_EQ(third.native_handle(), native);
    EXPECT_EQ(third.get_error_code(), std::nullopt) << "assigning to itself does not end the child";
}

TEST_F(process_handle_test, waits_on_the_executor_that_came_with_its_child) {
    for (const bool is_empty : {true, false}) {
        boost::asio::io_context first;
        boost::asio::io_context second;
        const auto first_work = boost::asio::make_work_guard(first);
        const auto second_work = boost::asio::make_work_guard(second);
        std::thread first_runner([&] { first.run(); });
        std::thread second_runner([&] { second.run(); });
        process_handle child(first.get_executor());
        if (!is_empty) child.assign(start("exit_with", L"1"));
        child = process_handle(second.get_executor(), start("exit_with", L"7"));
        EXPECT_EQ(child.get_executor(), boost::asio::any_io_executor(second.get_executor()));
        // An executor of its own has the handler run where the wait completes.
        std::promise<std::thread::id> completed;
        child.async_wait(
            boost::asio::bind_executor(boost::asio::system_executor(), [&](boost::system::error_code) {
                completed.set_value(std::this_thread::get_id());
            }));
        EXPECT_EQ(completed.get_future().get(), second_runner.get_id());
        EXPECT_EQ(child.get_error_code(), 7);
        // Not the end of their work: of a wait that completed elsewhere the second would never see it.
        first.stop();
        second.stop();
        first_runner.join();
        second_runner.join();
    }
}

TEST_F(process_handle_test, throws_what_keeps_it_from_ending_a_child) {
    // An event cannot be terminated: the failure comes out of close() and the destructor alike, and nothing
    // leaks.
    const unsigned long before = open_handles();
    bool thrown = false;
    try {
        void* const event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        process_handle wrong(executor_, event);
        EXPECT_THROW(wrong.close(), QV::win32_error);
        EXPECT_TRUE(wrong.is_open());
    } catch (const QV::win32_error& error) {
        thrown = true;
        EXPECT_EQ(error.function_name(), "TerminateProcess");
        EXPECT_EQ(error.code().value(), ERROR_INVALID_HANDLE);
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(open_handles(), before);
}

TEST_F(process_handle_test, does_not_throw_while_another_exception_unwinds) {
    const test::captured_log log;
    try {
        void* const event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        const process_handle wrong(executor_, event);
        throw std::runtime_error("the first failure");
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "the first failure");
    }
    const auto lines = log.matching(QV::Logging::log_level::error, ": Child not ended: TerminateProcess: ");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].logger, "System");
    EXPECT_NE(lines[0].text.find("~process_handle("), std::string::npos) << lines[0].text;
}

TEST_F(process_handle_test, waits_without_blocking) {
    void* const native = start("exit_with", L"7");
    process_handle child(executor_, native);
    int calls = 0;
    child.async_wait([&](boost::system::error_code ec) {
        ++calls;
        EXPECT_FALSE(ec);
        EXPECT_EQ(child.get_error_code(), 7);
    });
    context_.run();
    EXPECT_EQ(calls, 1);
}

TEST_F(process_handle_test, aborts_a_wait_when_closed) {
    // Two outcomes are true: aborted, or the end of the killed child seen first. Either comes exactly once.
    int calls = 0;
    boost::system::error_code result;
    void* const native = hang();
    process_handle child(executor_, native);
    child.async_wait([&](boost::system::error_code ec) {
        ++calls;
        result = ec;
    });
    child.close();
    context_.run();
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(!result || result == boost::asio::error::operation_aborted) << result.what();
}

} // namespace
