#include <QVSharedSupport/SystemConfiguration.h>
#include <QVSharedSupport/piped_process.h>

#include "report_task.h"
#include "utf.h"

#include <QVLog/QVLog.h>

#include <source_location>

namespace QV::SystemConfiguration {
namespace {

std::string to_utf8(const filesystem::path& path, utf::mode mode) {
    const std::wstring& native = path.native();
    return utf::to_utf8(std::u16string(native.begin(), native.end()), mode);
}

} // namespace

void CreateSystemReportFile(const filesystem::path& report, std::chrono::nanoseconds timeout) {
    const auto begin = std::chrono::steady_clock::now();
    run_report<piped_process>(
        [&report](const boost::asio::any_io_executor& executor) {
            // Strictly: without the characters that cannot be converted it would be some other file.
            std::vector<std::string> arguments = {"/nfo", to_utf8(report, utf::mode::strict)};
            return std::make_unique<piped_process>(
                executor, filesystem::path(L"C:\\Windows\\System32\\msinfo32.exe"), std::move(arguments));
        },
        timeout);
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    Logging::get_logger("System").log(
        Logging::log_level::info, "{}: System report written to '{}' in {} seconds",
        std::source_location::current().function_name(), to_utf8(report, utf::mode::lenient),
        static_cast<float>(elapsed.count()) / 1000.0F);
}

} // namespace QV::SystemConfiguration
