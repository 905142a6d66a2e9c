#pragma once

#include <QVLog/export.h>
#include <QVLog/log_level.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace QV::Logging::inline v2 {

/// A message on its way to a sink. Everything it refers to is valid during the call only.
struct record {
    std::string_view logger_name;
    log_level level;
    /// The system's number of the thread that logs.
    std::uint64_t thread_id;
    /// The name from `set_current_thread_name`; empty if the thread has none.
    std::string_view thread_name;
    std::chrono::system_clock::time_point time;
    /// The message, UTF-8 as far as its parts were, with whatever line breaks and control characters came
    /// with them.
    std::string_view text;
};

/// Where messages go. Derive from it to send them elsewhere, and put it in place with `set_sinks`.
///
/// `write` and `flush` may be called from several threads at once. What they throw is caught and counted
/// (`failure_count`); other sinks still get the message. A sink may log: its message goes to the other sinks
/// only, so that it cannot call itself without end.
class QVLOG_EXPORT sink {
public:
    /// `threshold`: messages below it are not given to this sink.
    explicit sink(log_level threshold = log_level::trace) noexcept;
    sink(const sink&) = delete;
    sink& operator=(const sink&) = delete;
    virtual ~sink();

    /// Takes one message. Messages of one thread arrive in the order in which it logged them.
    virtual void write(const record& message) = 0;
    /// Hands over to the system what has been written and is still kept back. Nothing by default.
    virtual void flush();

    /// The least level that this sink is given. Any thread may change it at any time.
    log_level level() const noexcept { return threshold_.load(std::memory_order_relaxed); }
    void set_level(log_level threshold) noexcept { threshold_.store(threshold, std::memory_order_relaxed); }

private:
    std::atomic<log_level> threshold_;
};

/// The sinks of the process, in the order in which they are called.
using sink_list = std::vector<std::shared_ptr<sink>>;

/// Puts `sinks` in place of those that there are; at first that is one console sink. An empty list silences
/// all.
///
/// Safe while other threads log. A thread that is in the middle of logging may deliver that one message to a
/// replaced sink after this returns; the sink lives until it has.
/// @return the sinks replaced. @throws std::invalid_argument "A log sink must not be null"; std::bad_alloc
QVLOG_EXPORT sink_list set_sinks(sink_list sinks);

/// The sinks that messages go to now. @throws std::bad_alloc
QVLOG_EXPORT sink_list get_sinks();

/// Calls `flush` of every sink; failures are counted like those of a message.
QVLOG_EXPORT void flush_sinks() noexcept;

/// Lines on the standard error stream, "[time] [level] [logger] [thread] text"; any alphabet shows right on a
/// console.
///
/// Control characters are shown escaped and further lines of a text are indented, so that text from a child
/// process can neither steer a terminal nor pass for a line of ours. A process without such a stream writes
/// nothing.
/// @throws std::bad_alloc
QVLOG_EXPORT std::shared_ptr<sink> make_console_sink();

/// The same lines in a file that never grows past `max_bytes` (a longer single line excepted): it is then
/// renamed, NAME.txt to NAME.1.txt and so on, and begun anew; at most `max_files` old ones are kept. An
/// existing file is continued.
struct rotating_file_options {
    std::filesystem::path path;
    std::size_t max_bytes = std::size_t{8} * 1024 * 1024;
    /// 0 to 200000; with 0 the file is emptied instead.
    std::size_t max_files = 3;
    /// Messages of this level and above are handed to the system at once, where they outlive a crash of the
    /// process.
    log_level flush_level = log_level::trace;
};

/// @throws std::invalid_argument "The path of a log file must not be empty", "The size of a log file must not
///     be zero" or "Too many log files"; std::runtime_error if the file cannot be opened, with the reason.
QVLOG_EXPORT std::shared_ptr<sink> make_rotating_file_sink(const rotating_file_options& options);

/// Calls `function` with each message, on the thread that logs it, and on several at once if several do.
/// @throws std::invalid_argument "The function of a log sink must not be empty"; std::bad_alloc
QVLOG_EXPORT std::shared_ptr<sink> make_callback_sink(std::function<void(const record&)> function);

/// The same lines as the console's, for an attached debugger or a tool that listens for such output
/// (`OutputDebugStringW`). On Windows only. @throws std::bad_alloc
QVLOG_EXPORT std::shared_ptr<sink> make_debugger_sink();

} // namespace QV::Logging::inline v2
