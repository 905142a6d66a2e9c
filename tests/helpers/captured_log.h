#pragma once

#include <QVLog/QVLog.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

/// One logged message.
struct log_line {
    std::string logger;
    QV::Logging::log_level level;
    std::string text;
    std::string thread_name;
    std::uint64_t thread_id;
    std::chrono::system_clock::time_point time;
};

/// While it lives, all log messages of the process come here and nowhere else.
///
///     test::captured_log log;
///     QV::get_framework_version("not loaded");
///     EXPECT_THAT(log.texts("System"), ElementsAre(...));
class captured_log {
public:
    explicit captured_log(QV::Logging::log_level level = QV::Logging::log_level::trace)
        : old_level_(QV::Logging::global_level()) {
        // The sink shares the store: a thread that is logging while this ends still has somewhere to write.
        old_sinks_ = QV::Logging::set_sinks(
            {QV::Logging::make_callback_sink([store = store_](const QV::Logging::record& message) {
                const std::lock_guard lock(store->mutex);
                store->lines.push_back({std::string(message.logger_name), message.level,
                                        std::string(message.text), std::string(message.thread_name),
                                        message.thread_id, message.time});
                store->changed.notify_all();
            })});
        QV::Logging::set_global_level(level);
    }

    captured_log(const captured_log&) = delete;
    captured_log& operator=(const captured_log&) = delete;

    ~captured_log() {
        QV::Logging::set_global_level(old_level_);
        QV::Logging::set_sinks(std::move(old_sinks_));
    }

    /// What has come so far, of all loggers.
    std::vector<log_line> lines() const {
        const std::lock_guard lock(store_->mutex);
        return store_->lines;
    }

    /// The texts of one logger.
    std::vector<std::string> texts(std::string_view logger) const {
        std::vector<std::string> found;
        for (log_line& line : lines())
            if (line.logger == logger) found.push_back(std::move(line.text));
        return found;
    }

    /// The lines of one level whose text contains `part`, of all loggers.
    std::vector<log_line> matching(QV::Logging::log_level level, std::string_view part) const {
        std::vector<log_line> found;
        for (log_line& line : lines())
            if (line.level == level && line.text.find(part) != std::string::npos)
                found.push_back(std::move(line));
        return found;
    }

    /// Blocks until some line satisfies `predicate`, and returns it.
    template <class Predicate>
    log_line wait_for(Predicate predicate) const {
        std::unique_lock lock(store_->mutex);
        for (;;) {
            const auto found = std::find_if(store_->lines.begin(), store_->lines.end(), predicate);
            if (found != store_->lines.end()) return *found;
            store_->changed.wait(lock);
        }
    }

private:
    struct store {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<log_line> lines;
    };

    std::shared_ptr<store> store_ = std::make_shared<store>();
    QV::Logging::sink_list old_sinks_;
    QV::Logging::log_level old_level_;
};

} // namespace test
