#include <QVSharedSupport/errors.h>

#include "error_code_helper.h"
#include "system_end_of_file.h"

#include <boost/asio/error.hpp>

#include <array>

namespace QV {

namespace {

using SharedSupport::ErrorCode;

constexpr std::array<error_code_info<ErrorCode>, 6> error_code_table{{
    {"Success", nullptr, ErrorCode::Success},
    {"Unknown error", nullptr, ErrorCode::UnknownError},
    {"Cannot retrieve the requested resource", nullptr, ErrorCode::CannotRetrieveResource},
    {"File integrity validation failed", nullptr, ErrorCode::FileIntegrityValidationFailed},
    {"Failed to create property list", nullptr, ErrorCode::FailedToCreatePropertyList},
    {"Failed to parse", nullptr, ErrorCode::FailedToParse},
}};

constexpr std::array<error_code_info<errc>, 2> errc_table{{
    {"Ok", nullptr, errc::ok},
    {"End of file", nullptr, errc::eof},
}};

// Drawn at random once; they must never change, nor be used for another category.
constexpr unsigned long long error_code_category_id = 0x6A2C53F0B41D97E8;
constexpr unsigned long long errc_category_id = 0xD13E08B7952FC46A;

class error_code_category_type final : public error_code_helper<error_code_table> {
public:
    constexpr error_code_category_type() noexcept
        : error_code_helper("SharedSupport error", error_code_category_id) {}
};

class errc_category_type final : public error_code_helper<errc_table> {
public:
    constexpr errc_category_type() noexcept : error_code_helper("QV error condition", errc_category_id) {}

    using error_code_helper::equivalent;
    bool equivalent(const boost::system::error_code& code, int condition) const noexcept override {
        switch (static_cast<errc>(condition)) {
        case errc::ok:
            return !code.failed();
        case errc::eof:
            return code == boost::asio::error::eof || code == boost::system::errc::broken_pipe ||
                   is_system_end_of_file(code);
        }
        return error_code_helper::equivalent(code, condition);
    }
};

constinit const error_code_category_type error_codes;
constinit const errc_category_type conditions;

} // namespace

const boost::system::error_category& errc_category() noexcept {
    return conditions;
}

boost::system::error_condition make_error_condition(errc condition) noexcept {
    return {static_cast<int>(condition), conditions};
}

bool operator==(const boost::system::error_code& code, errc condition) noexcept {
    return conditions.equivalent(code, static_cast<int>(condition));
}

bool operator==(const std::error_code& code, errc condition) noexcept {
    return boost::system::error_code(code) == condition;
}

} // namespace QV

namespace QV::SharedSupport {

namespace {

const SharedSupportErrorCategory standard_category;

} // namespace

const boost::system::error_category& error_code_category() noexcept {
    return error_codes;
}

boost::system::error_code make_error_code(ErrorCode code) noexcept {
    return {static_cast<int>(code), error_codes};
}

const char* SharedSupportErrorCategory::name() const noexcept {
    return "shared support";
}

std::string SharedSupportErrorCategory::message(int value) const {
    switch (value) {
    case 0:
        return "Error retrieving the requested value from the relevant database";
    case 1:
        return "Error saving values to the relevant database";
    case 2:
        return "Error with system raw device";
    case 3:
        return "This interface is not supported on this platform";
    default:
        return "Unknown error " + std::to_string(value);
    }
}

const SharedSupportErrorCategory& shared_support_error_category() noexcept {
    return standard_category;
}

} // namespace QV::SharedSupport
