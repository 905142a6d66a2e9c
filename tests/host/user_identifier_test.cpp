#include "user_identifier.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

enum class failing { nothing, open, information, conversion, null_text };

/// What the fake system does, and what it has handed out.
struct {
    failing what = failing::nothing;
    int tokens = 0;
    int texts = 0;
} fake;

// What gives things back may well change the last error.
BOOL fail_with(DWORD error) {
    SetLastError(error);
    return FALSE;
}

BOOL WINAPI open_token(HANDLE process, DWORD access, PHANDLE token) {
    EXPECT_EQ(access, static_cast<DWORD>(TOKEN_QUERY));
    if (fake.what == failing::open) return fail_with(ERROR_ACCESS_DENIED);
    const BOOL opened = OpenProcessToken(process, access, token);
    if (opened) ++fake.tokens;
    return opened;
}

BOOL WINAPI get_information(HANDLE token, TOKEN_INFORMATION_CLASS what, LPVOID answer, DWORD size,
                            PDWORD written) {
    EXPECT_EQ(what, TokenUser);
    if (fake.what == failing::information) return fail_with(ERROR_INVALID_HANDLE);
    return GetTokenInformation(token, what, answer, size, written);
}

BOOL WINAPI to_text(PSID identifier, LPSTR* text) {
    if (fake.what == failing::conversion) return fail_with(ERROR_INVALID_SID);
    if (fake.what == failing::null_text) {
        *text = nullptr;
        SetLastError(ERROR_SUCCESS);
        return TRUE;
    }
    const BOOL converted = ConvertSidToStringSidA(identifier, text);
    if (converted) ++fake.texts;
    return converted;
}

HLOCAL WINAPI free_text(HLOCAL text) {
    --fake.texts;
    SetLastError(ERROR_INVALID_FUNCTION);
    return LocalFree(text);
}

BOOL WINAPI close_token(HANDLE token) {
    --fake.tokens;
    SetLastError(ERROR_INVALID_FUNCTION);
    return CloseHandle(token);
}

class user_identifier : public testing::Test {
protected:
    static std::string ask(failing what = failing::nothing) {
        fake = {what};
        return QV::user_identifier({&open_token, &get_information, &to_text, &free_text, &close_token});
    }
    static void expect_failure(failing what, const char* function, DWORD error) {
        try {
            ask(what);
            ADD_FAILURE() << "nothing was thrown instead of: " << function;
        } catch (const QV::win32_error& failure) {
            EXPECT_EQ(failure.function_name(), function);
            EXPECT_EQ(failure.code().value(), static_cast<int>(error)) << function;
        }
        EXPECT_EQ(fake.tokens, 0) << function;
        EXPECT_EQ(fake.texts, 0) << function;
    }
};

TEST_F(user_identifier, gives_back_what_it_took) {
    EXPECT_EQ(ask().substr(0, 4), "S-1-");
    EXPECT_EQ(fake.tokens, 0);
    EXPECT_EQ(fake.texts, 0);
}

TEST_F(user_identifier, names_the_call_that_failed_and_gives_back_what_it_took) {
    expect_failure(failing::open, "OpenProcessToken", ERROR_ACCESS_DENIED);
    expect_failure(failing::information, "GetTokenInformation(process_token, TokenUser)",
                   ERROR_INVALID_HANDLE);
    expect_failure(failing::conversion, "ConvertSidToStringSidA", ERROR_INVALID_SID);
    expect_failure(failing::null_text, "ConvertSidToStringSid indicated success but returned NULL",
                   ERROR_SUCCESS);
}

} // namespace
