// A host program: starts a recovery helper, shows what it reports while it works, and says how it ended.
//
//   recovery_host HELPER.EXE [ARGUMENT...]
//
// The helper's messages come to standard output; its own diagnostics come through the log to standard error.
// Ctrl-C ends the helper too. The exit code tells what happened: see `outcome`.

#include <QVSharedSupport/cf_conversions.h>
#include <QVSharedSupport/errors.h>
#include <QVSharedSupport/plist_process.h>

#include <CFAdapters/CFAdapters.h>
#include <CFAdapters/format.h>
#include <QVLog/QVLog.h>
#include <QVPlatformCompatibility/win32_error.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

namespace asio = boost::asio;

namespace {

/// The exit codes of this program.
enum class outcome {
    success = 0,        ///< The helper ended with exit code 0.
    helper_failed = 1,  ///< The helper ended with another exit code.
    usage = 2,          ///< No helper was named.
    not_started = 3,    ///< The helper could not be started.
    helper_crashed = 4, ///< The helper was ended by an exception of its own.
    not_understood = 5, ///< The helper's output was not what a helper writes.
    interrupted = 130,  ///< Ctrl-C; the helper was ended.
};

outcome report(outcome how, const std::string& line) {
    fmt::print(stderr, "recovery_host: {}\n", line);
    return how;
}

/// A value on one line.
std::string one_line(const CF::AutoPointer& value) {
    if (const CF::String text(value); text) return text.to_string();
    if (const CF::Number number(value); number) {
        const auto plain = QV::from_cf_type_t<double>{}(number);
        return std::isfinite(plain) ? fmt::format("{}", plain) : "not known";
    }
    if (const CF::Data data(value); data) return fmt::format("{} bytes", data.size());
    if (const CF::Dictionary entries(value); entries) {
        std::string line;
        for (const auto& [key, entry] : entries)
            line += fmt::format("{}{} {}", line.empty() ? "" : ", ", one_line(key), one_line(entry));
        return line;
    }
    return fmt::format("{}", value);
}

/// The share of the work, from 0 to 1, that a message says is done. Helpers tell it as a real, by itself or
/// with the name of the operation; an integer is the number of a step, or -1 when they do not know.
std::optional<double> share_done(const QV::plist_process::message_type& message) {
    CF::Number number = CF::Dictionary(message.value).get<CF::Number>("Progress");
    if (!number && message.type == "Progress") number = CF::Number(message.value);
    if (!number.is_real()) return std::nullopt;
    const auto share = QV::from_cf_type_t<double>{}(number);
    return std::isfinite(share) ? std::optional(std::clamp(share, 0.0, 1.0)) : std::nullopt;
}

/// One line a message, and a bar where it tells the share that is done.
void show(const QV::plist_process::message_type& message) {
    if (const std::optional<double> done = share_done(message)) {
        constexpr int width = 30;
        const int filled = static_cast<int>(*done * width);
        const auto operation = CF::Dictionary(message.value).get<CF::String>("Operation");
        fmt::print("[{:#<{}}{:.<{}}] {:3.0f} % {}\n", "", filled, "", width - filled, *done * 100,
                   operation ? operation.to_string() : message.type);
    } else {
        fmt::print("{}{}\n", message.type, message.value ? ": " + one_line(message.value) : "");
    }
    std::fflush(stdout);
}

/// Of all that is logged, only the helper's own words are for the user's eyes.
void show_diagnostics(const QV::Logging::record& record) {
    constexpr std::string_view marker = "Process err log: ";
    if (const auto at = record.text.find(marker); at != record.text.npos)
        fmt::print(stderr, "  helper says: {}\n", record.text.substr(at + marker.size()));
}

/// The system ends a crashed process with the exception's code, which says "error" in its first two bits and,
/// in the third, whether the program has raised it. An exit code of -1 has the fourth set as well.
bool is_crash(int code) {
    return (static_cast<unsigned int>(code) >> 28 & 0xDU) == 0xC;
}

/// What Ctrl-C acts on.
struct supervised_helper {
    QV::plist_process process;
    bool is_interrupted = false;
};

asio::awaitable<outcome> run_helper(std::wstring program, std::vector<std::string> arguments) {
    const auto executor = co_await asio::this_coro::executor;

    // From here on the helper cannot outlive us: however this function is left, its destructor ends the
    // helper.
    const auto supervised = std::make_shared<supervised_helper>(
        QV::plist_process(executor, std::move(program), std::move(arguments)));
    QV::plist_process& helper = supervised->process;

    asio::signal_set signals(executor, SIGINT, SIGTERM);
    signals.async_wait([weak = std::weak_ptr(supervised)](boost::system::error_code aborted, int) {
        const auto running = weak.lock();
        if (aborted || !running) return;
        running->is_interrupted = true;
        running->process.kill();
        // A child of the helper's may hold its output open for ever: the read below is not left to end by
        // itself.
        running->process.cancel();
    });

    bool understood = true;
    for (;;) {
        const auto [error, message] = co_await helper.async_read(asio::as_tuple(asio::use_awaitable));
        if (error == QV::errc::eof || supervised->is_interrupted) break;
        if (error) {
            // What cannot be understood is not obeyed in part: the helper is ended.
            understood = false;
            helper.kill();
            break;
        }
        show(*message);
    }

    co_await helper.async_wait(asio::use_awaitable);
    // The library takes this one exit code for "still running", which the helper is no longer.
    const int code = helper.get_error_code().value_or(static_cast<int>(STILL_ACTIVE));
    if (supervised->is_interrupted)
        co_return report(outcome::interrupted, "interrupted; the helper was ended");
    if (!understood) co_return report(outcome::not_understood, "the helper's output could not be understood");
    if (is_crash(code))
        co_return report(outcome::helper_crashed,
                         fmt::format("the helper crashed (0x{:08X})", static_cast<unsigned int>(code)));
    if (code != 0)
        co_return report(outcome::helper_failed, fmt::format("the helper ended with exit code {}", code));
    co_return report(outcome::success, "the helper ended with exit code 0");
}

std::string to_utf8(const wchar_t* word) {
    const std::u8string text = std::filesystem::path(word).u8string();
    return {text.begin(), text.end()};
}

} // namespace

int wmain(int count, wchar_t** words) {
    if (count < 2)
        return static_cast<int>(report(outcome::usage, "usage: recovery_host HELPER.EXE [ARGUMENT...]"));

    SetConsoleOutputCP(CP_UTF8);
    QV::Logging::set_sinks({QV::Logging::make_callback_sink(show_diagnostics)});
    QV::Logging::set_global_level(QV::Logging::log_level::trace);

    std::vector<std::string> arguments;
    std::transform(words + 2, words + count, std::back_inserter(arguments), to_utf8);

    asio::io_context context;
    outcome how = outcome::helper_failed;
    asio::co_spawn(context, run_helper(words[1], std::move(arguments)),
                   [&](const std::exception_ptr& failure, outcome result) {
                       how = result;
                       // Nor wait for the end of the diagnostics then.
                       if (how == outcome::interrupted) context.stop();
                       if (!failure) return;
                       try {
                           std::rethrow_exception(failure);
                       } catch (const QV::win32_error& error) {
                           how = report(outcome::not_started,
                                        fmt::format("the helper could not be started: {}", error.what()));
                       } catch (const std::exception& error) {
                           how = report(outcome::helper_failed, error.what());
                       }
                   });
    context.run(); // returns when the helper has ended and its last line of diagnostics is logged
    return static_cast<int>(how);
}
