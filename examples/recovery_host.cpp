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
#include <csignal>
#include <exception>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
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
    if (const CF::Number number(value); number)
        return fmt::format("{}", QV::from_cf_type_t<double>{}(number));
    if (const CF::Data data(value); data) return fmt::format("{} bytes", data.size());
    if (const CF::Dictionary entries(value); entries) {
        std::string line;
        for (const auto& [key, entry] : entries)
            line += fmt::format("{}{} {}", line.empty() ? "" : ", ", one_line(key), one_line(entry));
        return line;
    }
    return fmt::format("{}", value);
}

/// One line a message, and a bar for what tells its progress as a number from 0 to 1.
void show(const QV::plist_process::message_type& message) {
    const CF::Dictionary details(message.value);
    if (const auto progress = details.get<CF::Number>("Progress")) {
        constexpr int width = 30;
        const double done = std::clamp(QV::from_cf_type_t<double>{}(progress), 0.0, 1.0);
        const int filled = static_cast<int>(done * width);
        fmt::print("[{:#<{}}{:.<{}}] {:3.0f} % {}\n", "", filled, "", width - filled, done * 100,
                   details.get<CF::String>("Operation").to_string());
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

asio::awaitable<outcome> run_helper(std::wstring program, std::vector<std::string> arguments) {
    const auto executor = co_await asio::this_coro::executor;

    // From here on the helper cannot outlive us: however this function is left, its destructor ends the
    // helper.
    QV::plist_process helper(executor, program, std::move(arguments));

    bool interrupted = false;
    asio::signal_set signals(executor, SIGINT, SIGTERM);
    signals.async_wait([&](boost::system::error_code aborted, int) {
        if (aborted) return;
        interrupted = true;
        helper.kill(); // its output ends, and with it the loop below
    });

    bool understood = true;
    for (;;) {
        const auto [error, message] = co_await helper.async_read(asio::as_tuple(asio::use_awaitable));
        if (error == QV::errc::eof) break;
        if (error) {
            // What cannot be understood is not obeyed in part: the helper is ended.
            understood = false;
            helper.kill();
            break;
        }
        show(*message);
    }

    co_await helper.async_wait(asio::use_awaitable);
    const int code = helper.get_error_code().value_or(0);
    if (interrupted) co_return report(outcome::interrupted, "interrupted; the helper was ended");
    if (!understood) co_return report(outcome::not_understood, "the helper's output could not be understood");
    // The system ends a crashed process with the exception's code: an error status of its own.
    if (const auto status = static_cast<unsigned int>(code); status >= 0xC0000000U)
        co_return report(outcome::helper_crashed, fmt::format("the helper crashed (0x{:08X})", status));
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
