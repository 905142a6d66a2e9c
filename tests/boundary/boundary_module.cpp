#include "boundary_module.h"

#include <QVSharedSupport/cf_conversions.h>
#include <QVSharedSupport/errors.h>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

namespace boundary_module {

boost::system::error_code asio_end_of_file() {
    return boost::asio::error::eof;
}
boost::system::error_code operation_aborted() {
    return boost::asio::error::operation_aborted;
}
boost::system::error_code failed_to_parse() {
    return QV::SharedSupport::ErrorCode::FailedToParse;
}
std::error_code standard_code() {
    return {1, QV::SharedSupport::shared_support_error_category()};
}
bool knows_end_of_file(const boost::system::error_code& code) {
    return code == QV::errc::eof;
}
const boost::system::error_category* library_category() {
    return &QV::SharedSupport::error_code_category();
}

void throw_cf_error() {
    throw QV::SharedSupport::Error(QV::SharedSupport::ErrorCode::FailedToParse, nullptr,
                                   "thrown in another module");
}
void throw_system_error() {
    throw boost::system::system_error(failed_to_parse(), "elsewhere");
}
void throw_from_the_library() {
    QV::make_duration(-1.0);
    throw std::logic_error("a negative duration was taken");
}
const std::type_info& type_of_cf_error() {
    return typeid(CF::Error);
}

CF::String make_string(const std::string& text) {
    return CF::String(text);
}
CFStringRef raw_error_domain() {
    return QV::SharedSupport::kErrorDomain.get();
}

} // namespace boundary_module
