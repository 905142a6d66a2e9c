#include "line_formatter.h"

#include <spdlog/common.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include <stdexcept>

namespace QV::Logging::inline v2 {

namespace {

constexpr std::size_t most_files = 200'000; // spdlog's own limit

class rotating_file_sink final : public sink {
public:
    explicit rotating_file_sink(const rotating_file_options& options)
        : file_(options.path.native(), options.max_bytes, options.max_files),
          flush_level_(options.flush_level) {
        file_.set_formatter(detail::make_line_formatter());
    }

    void write(const record& message) override {
        const std::string body = detail::line_body(message);
        file_.log(detail::as_spdlog(message, body));
        if (message.level >= flush_level_) file_.flush();
    }

    void flush() override { file_.flush(); }

private:
    spdlog::sinks::rotating_file_sink_mt file_;
    const log_level flush_level_;
};

} // namespace

std::shared_ptr<sink> make_rotating_file_sink(const rotating_file_options& options) {
    if (options.path.empty()) throw std::invalid_argument("The path of a log file must not be empty");
    if (options.max_bytes == 0) throw std::invalid_argument("The size of a log file must not be zero");
    if (options.max_files > most_files) throw std::invalid_argument("Too many log files");
    try {
        return std::make_shared<rotating_file_sink>(options);
    } catch (const spdlog::spdlog_ex& error) {
        // A type that our callers know.
        throw std::runtime_error(error.what());
    }
}

} // namespace QV::Logging::inline v2
