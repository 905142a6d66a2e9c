#pragma once

#include <QVLog/QVLog.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// Collects what is logged while it lives, at every level, instead of showing it.
class log_capture {
public:
    struct line {
        std::string logger;
        int level;
        std::string text;
    };

    log_capture()
        : previous_level_(QV::Logging::global_level()),
          previous_sinks_(QV::Logging::set_sinks({QV::Logging::make_callback_sink(
              [lines = lines_](const QV::Logging::record& record) { lines->add(record); })})) {
        QV::Logging::set_global_level(QV::Logging::log_level::trace);
    }
    log_capture(const log_capture&) = delete;
    log_capture& operator=(const log_capture&) = delete;
    ~log_capture() {
        QV::Logging::set_global_level(previous_level_);
        QV::Logging::set_sinks(std::move(previous_sinks_));
    }

    /// All lines so far.
    std::vector<line> lines() const {
        const std::lock_guard lock(lines_->mutex);
        return lines_->all;
    }
    /// The lines of one level whose text contains `part`.
    std::vector<line> matching(int level, const std::string& part) const {
        std::vector<line> found;
        for (line& one : lines()) {
            if (one.level == level && one.text.find(part) != std::string::npos)
                found.push_back(std::move(one));
        }
        return found;
    }

private:
    // A thread in the middle of logging may hold the sink longer than this object lives.
    struct shared_lines {
        void add(const QV::Logging::record& record) {
            const std::lock_guard lock(mutex);
            all.push_back(
                {std::string(record.logger_name), static_cast<int>(record.level), std::string(record.text)});
        }
        std::mutex mutex;
        std::vector<line> all;
    };

    std::shared_ptr<shared_lines> lines_ = std::make_shared<shared_lines>();
    QV::Logging::log_level previous_level_;
    QV::Logging::sink_list previous_sinks_;
};
