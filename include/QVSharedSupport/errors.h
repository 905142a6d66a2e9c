/// Error codes, error conditions and their way into CoreFoundation.
///
///     boost::system::error_code ec = QV::SharedSupport::ErrorCode::FailedToParse;
///     if (ec == QV::errc::eof)                       // broken pipe, end of file or end of stream
///         return;
///     if (CF::Error error = QV::ec_to_cf(ec, "while reading the reply"))
///         hand_over(error.release());
///
/// The categories live in this library and are recognised by a fixed identifier: codes compare equal in every
/// module of the process.
///
/// Thread safety: any thread at any time. Nothing here blocks.
#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Error.h>
#include <CFAdapters/String.h>

#include <boost/system/error_code.hpp>

#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace QV::SharedSupport {

/// What can go wrong in the library itself. Converts to `boost::system::error_code`.
enum class ErrorCode : int {
    Success = 0,                       ///< "Success": nothing went wrong.
    UnknownError = 1,                  ///< "Unknown error": the cause is not known.
    CannotRetrieveResource = 2,        ///< "Cannot retrieve the requested resource"
    FileIntegrityValidationFailed = 3, ///< "File integrity validation failed"
    FailedToCreatePropertyList = 4,    ///< "Failed to create property list"
    FailedToParse = 5                  ///< "Failed to parse"
};

/// The category of `ErrorCode`, named "SharedSupport error".
QV_EXPORT const boost::system::error_category& error_code_category() noexcept;

/// The code of category "SharedSupport error" with the value of `code`. It has failed unless that is 0.
QV_EXPORT boost::system::error_code make_error_code(ErrorCode code) noexcept;

/// "QVSharedError.ErrorDomain", the CoreFoundation error domain of `ErrorCode`. A constant: made when the
/// library loads, never released.
QV_EXPORT extern const CF::String kErrorDomain;

/// Makes a CoreFoundation error of the domain `kErrorDomain`.
///
/// The description is the message of `code`, the failure reason is `message` even when that is empty. Bytes
/// of `message` that are not UTF-8 become U+FFFD. `underlying` is retained; it may be null, and an object
/// that is no CFError counts as null. The result is empty only for want of memory within CoreFoundation.
/// @throws std::bad_alloc
QV_EXPORT CF::Error Error(ErrorCode code, CFErrorRef underlying, std::string_view message);
/// The same.
QV_EXPORT CF::Error Error(ErrorCode code, CFErrorRef underlying, const std::string& message);
/// The same, for a literal, which would suit both others equally.
inline CF::Error Error(ErrorCode code, CFErrorRef underlying, const char* message) {
    return Error(code, underlying, std::string_view(message));
}

/// Errors of the device database, for `std::error_code`. The library itself reports none of them: the
/// category is here so that all programs share one.
class SharedSupportErrorCategory final : public std::error_category {
public:
    /// "shared support".
    QV_EXPORT const char* name() const noexcept override;
    /// The text for a value from 0 to 3; otherwise "Unknown error " and the number. @throws std::bad_alloc
    QV_EXPORT std::string message(int value) const override;
};

/// The one instance of `SharedSupportErrorCategory`: standard categories are told apart by their address.
QV_EXPORT const SharedSupportErrorCategory& shared_support_error_category() noexcept;

} // namespace QV::SharedSupport

namespace QV {

/// Conditions that codes of several categories amount to: compare a code with them, do not store them.
enum class errc : int {
    /// "Ok": the code has not failed.
    ok = 0,
    /// "End of file": the other side will send no more. Asio's end of file, the POSIX broken pipe, and on
    /// Windows error 38 (ERROR_HANDLE_EOF) of the system category.
    eof = 1
};

/// The category of `errc`, named "QV error condition".
QV_EXPORT const boost::system::error_category& errc_category() noexcept;

/// The condition of category "QV error condition" with the value of `condition`.
QV_EXPORT boost::system::error_condition make_error_condition(errc condition) noexcept;

/// Whether `code` amounts to `condition`.
///
/// Takes codes that wrap a `std::error_code` as well. Boost's own comparison, with a condition object instead
/// of the enumerator, does not ask this library about those: `code == QV::errc::eof`, not `code ==
/// make_error_condition(QV::errc::eof)`, is the way to write it.
QV_EXPORT bool operator==(const boost::system::error_code& code, errc condition) noexcept;
/// The same for a `std::error_code`.
QV_EXPORT bool operator==(const std::error_code& code, errc condition) noexcept;

/// Makes a CoreFoundation error of any error code; an empty one of a code that has not failed.
///
/// The domain is "error_code " and the category's name, the description is the code's message, the failure
/// reason is `reason` unless that is empty, and the error is not marked friendly. Bytes that are not UTF-8
/// become U+FFFD. What there is no memory for is left out, down to an empty error if CoreFoundation makes
/// none at all.
[[nodiscard]] QV_EXPORT CF::Error ec_to_cf(const std::error_code& code, std::string_view reason) noexcept;
/// The same. Whether a Boost code has failed is for its category to say, not for its value; a code that wraps
/// a `std::error_code` is reported as that.
[[nodiscard]] QV_EXPORT CF::Error ec_to_cf(const boost::system::error_code& code,
                                           std::string_view reason) noexcept;

} // namespace QV

template <>
struct boost::system::is_error_code_enum<QV::SharedSupport::ErrorCode> : std::true_type {};

template <>
struct boost::system::is_error_condition_enum<QV::errc> : std::true_type {};
