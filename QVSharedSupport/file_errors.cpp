#include <QVSharedSupport/file.h>

#include "error_code_helper.h"

#include <array>

namespace QV::file {
namespace {

boost::system::error_condition not_enough_memory() noexcept {
    return make_error_condition(boost::system::errc::not_enough_memory);
}

boost::system::error_condition operation_would_block() noexcept {
    return make_error_condition(boost::system::errc::operation_would_block);
}

constexpr std::array<error_code_info<errc>, 4> errc_table{{
    {"Success", nullptr, errc::success},
    {"File is too large to fit into the buffer", not_enough_memory, errc::too_large},
    {"Could not allocate buffer for file", not_enough_memory, errc::no_memory},
    {"Could not obtain file lock", operation_would_block, errc::not_locked},
}};

// Drawn at random once; it must never change, nor be used for another category.
constexpr unsigned long long category_id = 0x3C97E1A2F05B684D;

class file_category_type final : public error_code_helper<errc_table> {
public:
    constexpr file_category_type() noexcept : error_code_helper("QV::file", category_id) {}
};

constinit const file_category_type category;

} // namespace

const boost::system::error_category& error_category() noexcept {
    return category;
}

boost::system::error_code make_error_code(errc code) noexcept {
    return {static_cast<int>(code), category};
}

Logging::v2::logger get_logger() {
    return Logging::get_logger("QV::file");
}

} // namespace QV::file
