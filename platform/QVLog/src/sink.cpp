#include <QVLog/sinks.h>

#include <stdexcept>
#include <utility>

namespace QV::Logging::inline v2 {

namespace {

class callback_sink final : public sink {
public:
    explicit callback_sink(std::function<void(const record&)> function) : function_(std::move(function)) {}
    void write(const record& message) override { function_(message); }

private:
    const std::function<void(const record&)> function_;
};

} // namespace

sink::sink(log_level threshold) noexcept : threshold_(threshold) {}

sink::~sink() = default;

void sink::flush() {}

std::shared_ptr<sink> make_callback_sink(std::function<void(const record&)> function) {
    if (!function) throw std::invalid_argument("The function of a log sink must not be empty");
    return std::make_shared<callback_sink>(std::move(function));
}

} // namespace QV::Logging::inline v2
