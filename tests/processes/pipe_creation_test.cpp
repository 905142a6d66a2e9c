#include "pipe_creation.h"

#include <QVPlatformCompatibility/win32_error.h>
#include <QVSharedSupport/pipe.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace {

using QV::pipe::create_pipe;
using QV::pipe::pipe_calls;
using QV::pipe::system_pipe_calls;

// What create_pipe throws for `calls`.
QV::win32_error failure_of(const std::wstring& name, const pipe_calls& calls = system_pipe_calls) {
    try {
        (void)create_pipe(name, calls);
    } catch (const QV::win32_error& error) {
        return error;
    }
    return QV::win32_error("nothing", 0);
}

void* fail_null(const wchar_t*) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

void* fail_invalid(const wchar_t*) {
    SetLastError(ERROR_PIPE_BUSY);
    return INVALID_HANDLE_VALUE;
}

HANDLE created = nullptr;

void* create_and_remember(const wchar_t* name) {
    created = system_pipe_calls.create(name);
    return created;
}

TEST(pipe_creation, takes_a_name_once_only) {
    const std::wstring name = L"\\\\.\\pipe\\qv_once_only";
    const auto ends = create_pipe(name);
    const QV::win32_error error = failure_of(name);
    EXPECT_EQ(error.function_name(), "CreateNamedPipeW");
    EXPECT_NE(error.code().value(), 0);
    CloseHandle(ends.read_end);
    CloseHandle(ends.write_end);
}

TEST(pipe_creation, takes_null_and_invalid_for_failure) {
    for (const auto fail : {fail_null, fail_invalid}) {
        const QV::win32_error error = failure_of(L"\\\\.\\pipe\\qv_fail", {fail, system_pipe_calls.open});
        EXPECT_EQ(error.function_name(), "CreateNamedPipeW");
        EXPECT_EQ(error.code().value(), fail == fail_null ? ERROR_NOT_ENOUGH_MEMORY : ERROR_PIPE_BUSY);
    }
}

TEST(pipe_creation, keeps_the_name_taken_when_the_read_end_cannot_be_opened) {
    for (const auto fail : {fail_null, fail_invalid}) {
        const QV::win32_error error = failure_of(L"\\\\.\\pipe\\qv_kept", {create_and_remember, fail});
        EXPECT_EQ(error.function_name(), "CreateFileW");
        EXPECT_EQ(error.code().value(), fail == fail_null ? ERROR_NOT_ENOUGH_MEMORY : ERROR_PIPE_BUSY);
        DWORD flags = 0;
        EXPECT_TRUE(GetHandleInformation(created, &flags)) << "the write end is still open";
        CloseHandle(created);
    }
}

TEST(pipe_creation, makes_a_one_way_byte_pipe_of_one_instance) {
    const auto ends = create_pipe(L"\\\\.\\pipe\\qv_form");
    DWORD flags = 0;
    DWORD out = 0;
    DWORD in = 0;
    DWORD instances = 0;
    // The write end lacks the right to be asked.
    ASSERT_TRUE(GetNamedPipeInfo(ends.read_end, &flags, &out, &in, &instances)) << GetLastError();
    EXPECT_EQ(flags & PIPE_TYPE_MESSAGE, 0u);
    EXPECT_EQ(instances, 1u);
    EXPECT_EQ(out, 1024u);
    EXPECT_EQ(in, 1024u);
    CloseHandle(ends.read_end);
    CloseHandle(ends.write_end);
}

TEST(pipe_creation, refuses_a_second_client) {
    const std::wstring name = L"\\\\.\\pipe\\qv_second";
    const auto ends = create_pipe(name);
    const HANDLE second = CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    const DWORD error = GetLastError();
    EXPECT_EQ(second, INVALID_HANDLE_VALUE);
    EXPECT_EQ(error, static_cast<DWORD>(ERROR_PIPE_BUSY));
    CloseHandle(ends.read_end);
    CloseHandle(ends.write_end);
}

} // namespace
