#pragma once

#include <windows.h>

#include <sddl.h>

#include <string>

namespace QV {

/// The calls that lead from the process to its user's identifier, so that a test can let each fail.
struct token_calls {
    decltype(&OpenProcessToken) open;
    decltype(&GetTokenInformation) get_information;
    decltype(&ConvertSidToStringSidA) to_text;
    decltype(&LocalFree) free_text;
    decltype(&CloseHandle) close;
};

/// The calls of the system.
extern const token_calls system_token_calls;

/// `QXSystemGetUserIdentifier` by these calls. @throws QV::win32_error as that
std::string user_identifier(const token_calls& calls);

} // namespace QV
