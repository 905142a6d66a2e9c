// Must compile as it stands, and must not with QV_TEST_BAD_FORMAT: a wrong format is an error of the build.
#include <QVLog/logger.h>

void format_check();

void format_check() {
    const auto log = QV::Logging::get_logger("System");
    log.log(QV::Logging::log_level::error, "{} {:d}", "text", 7);
#if defined(QV_TEST_BAD_FORMAT)
    log.log(QV::Logging::log_level::error, "{} {:d}", "text", "not a number");
#endif
}
