#pragma once

#include <QVPlatformCompatibility/export.h>

#include <memory>
#include <string>
#include <string_view>
#include <system_error>

namespace QV {

/// The system's text for the calling thread's last error, in UTF-8.
///
/// Line breaks, trailing blanks and one full stop at the end are removed, so that the text fits into a
/// sentence. A code that the system has no text for reads "Unknown error " followed by its number.
/// `GetLastError()` (elsewhere: `errno`) is the same after the call as before it. Any thread may call it.
/// @throws std::bad_alloc
QVPLATFORMCOMPATIBILITY_EXPORT std::string get_last_error_string();

/// The same for the given error code.
QVPLATFORMCOMPATIBILITY_EXPORT std::string get_error_string(unsigned long code);

/// A call into the system that failed: which one, and with what error code.
///
///     if (!SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
///         throw QV::win32_error("SetHandleInformation");
///
/// `what()` reads "SetHandleInformation: The handle is invalid (6)": function, system text, code. `code()` is
/// the number in `std::system_category()`. Whoever only knows the standard library catches it as
/// `std::system_error`. Copying never throws. Outside Windows the codes are those of `errno`.
class QVPLATFORMCOMPATIBILITY_EXPORT win32_error : public std::system_error {
public:
    /// Takes the calling thread's last error; to be made right after the call that failed. @throws
    /// std::bad_alloc
    explicit win32_error(std::string_view function_name);
    /// For a call that hands its error code back, or one kept from before. @throws std::bad_alloc
    win32_error(std::string_view function_name, unsigned long code);
    win32_error(const win32_error&) noexcept;
    win32_error& operator=(const win32_error&) noexcept;
    ~win32_error() override;

    /// The name of the function that failed, as given. Lives as long as this error or a copy of it does.
    const std::string& function_name() const noexcept;
    /// "function: system text (code)", in UTF-8.
    const char* what() const noexcept override;

private:
    struct description;
    std::shared_ptr<const description> description_;
};

namespace win {

/// The Windows error `code` as a `std::error_code` of `std::system_category()`; 0 is success.
QVPLATFORMCOMPATIBILITY_EXPORT std::error_code make_error_code(long code) noexcept;

} // namespace win
} // namespace QV
