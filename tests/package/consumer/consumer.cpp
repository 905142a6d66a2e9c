// Uses a bit of each installed library, through nothing but the installed package.
#include <CFAdapters/CFAdapters.h>
#include <QVLog/QVLog.h>
#include <QVSharedSupport/cf_conversions.h>
#include <QVSharedSupport/errors.h>

#include <boost/asio/error.hpp>

#include <cstdio>

int main() {
    const boost::system::error_code ec = QV::SharedSupport::ErrorCode::FailedToParse;
    QV::Logging::set_global_level(QV::Logging::log_level::trace);
    QV::Logging::get_logger("consumer").log(QV::Logging::log_level::info, "{}", ec.message());
    const boost::system::error_code end = boost::asio::error::eof;
    const CF::Number number = QV::make_cf_type_t<int>{}(42);
    return end == QV::errc::eof && QV::from_cf_type_t<int>{}(number) == 42 ? 0 : 1;
}
