#include "user_identifier.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <array>
#include <cstddef>
#include <memory>

namespace QV {

const token_calls system_token_calls = {&OpenProcessToken, &GetTokenInformation, &ConvertSidToStringSidA,
                                        &LocalFree, &CloseHandle};

std::string user_identifier(const token_calls& calls) {
    HANDLE opened = nullptr;
    if (!calls.open(GetCurrentProcess(), TOKEN_QUERY, &opened)) throw win32_error("OpenProcessToken");
    const std::unique_ptr<void, decltype(calls.close)> token(opened, calls.close);

    // As long as an identifier can be, so that there is no size to be asked for.
    struct {
        TOKEN_USER user;
        std::array<std::byte, SECURITY_MAX_SID_SIZE> identifier;
    } answer = {};
    DWORD written = 0;
    if (!calls.get_information(token.get(), TokenUser, &answer, sizeof(answer), &written))
        throw win32_error("GetTokenInformation(process_token, TokenUser)");

    char* converted = nullptr;
    if (!calls.to_text(answer.user.User.Sid, &converted)) throw win32_error("ConvertSidToStringSidA");
    if (converted == nullptr) throw win32_error("ConvertSidToStringSid indicated success but returned NULL");
    const std::unique_ptr<char, decltype(calls.free_text)> text(converted, calls.free_text);
    return text.get();
}

} // namespace QV
