#include "line_formatter.h"
#include "system_output.h"

#include <mutex>

namespace QV::Logging::inline v2 {

namespace {

class console_sink final : public sink {
public:
    void write(const record& message) override {
        const std::string body = detail::line_body(message);
        const std::lock_guard lock(mutex_);
        spdlog::memory_buf_t line;
        formatter_->format(detail::as_spdlog(message, body), line);
        // A line at a time, so that those of several processes on one console stay whole.
        system_output::write_standard_error({line.data(), line.size()});
    }

private:
    std::mutex mutex_;
    const std::unique_ptr<spdlog::formatter> formatter_ = detail::make_line_formatter();
};

} // namespace

std::shared_ptr<sink> make_console_sink() {
    return std::make_shared<console_sink>();
}

} // namespace QV::Logging::inline v2
