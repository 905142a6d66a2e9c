// What a helper process costs, as ratios to the same work done bare in the same run:
//
//     processes_bench
//
// Under Wine every pipe and process call goes to another process, so only the ratios mean something there.
// The program starts itself as the child: "burst SIZE..." writes that many messages at each byte on its
// input.
#include "../tests/helpers/standard_streams.h"

#include <QVSharedSupport/piped_process.h>
#include <QVSharedSupport/plist_process.h>

#include <CoreFoundation/CoreFoundation.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/write.hpp>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using seconds = std::chrono::duration<double>;

const std::string message = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict><key>Type</key><string>Progress</string><key>Value</key><dict>
<key>Operation</key><string>Sending file system</string><key>Progress</key><real>0.42</real>
</dict></dict></plist>
)";

double time_of(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return seconds(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> figures) {
    const auto middle = figures.begin() + static_cast<std::ptrdiff_t>(figures.size() / 2);
    std::nth_element(figures.begin(), middle, figures.end());
    return *middle;
}

struct figures {
    double ours;
    double bare;
};

// The two in turn, so that other work on the machine disturbs both alike.
figures compare(int rounds, const std::function<void()>& ours, const std::function<void()>& bare) {
    std::vector<double> ours_taken;
    std::vector<double> bare_taken;
    for (int i = 0; i < rounds; ++i) {
        ours_taken.push_back(time_of(ours));
        bare_taken.push_back(time_of(bare));
    }
    return {median(std::move(ours_taken)), median(std::move(bare_taken))};
}

QV::filesystem::path this_program() {
    wchar_t path[32768];
    GetModuleFileNameW(nullptr, path, 32768);
    return path;
}

// An executor at work on a thread of its own: the log of a helper's standard error needs one.
class running_context {
public:
    running_context() : work_(context_.get_executor()), thread_([this] { context_.run(); }) {}
    ~running_context() {
        work_.reset();
        context_.stop();
        thread_.join();
    }
    auto get_executor() { return context_.get_executor(); }

private:
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
};

// --- the children
// ---------------------------------------------------------------------------------------------

int burst(std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes += message;
    char byte = 0;
    while (helpers::read_some(GetStdHandle(STD_INPUT_HANDLE), &byte, 1) == 1)
        if (!helpers::write_out(bytes)) return EXIT_FAILURE;
    return EXIT_SUCCESS;
}

// --- the stream
// -----------------------------------------------------------------------------------------------

void read_exactly(QV::pipe::stream& stream, std::size_t size, std::vector<char>& buffer) {
    while (size > 0)
        size -= stream.read_some(boost::asio::buffer(buffer.data(), std::min(buffer.size(), size)));
}

// All that a helper writes before it closes its output: messages taken out of it, and drained raw.
void bench_throughput(running_context& context) {
    constexpr std::size_t count = 20000;
    const auto start = [&context] {
        QV::piped_process child(context.get_executor(), this_program(), {"burst", std::to_string(count)});
        boost::asio::write(child.standard_input, boost::asio::buffer("1", 1));
        child.standard_input.close();
        return child;
    };
    std::vector<char> buffer(64 * 1024);
    std::vector<double> read;
    std::vector<double> drained;
    for (int round = 0; round < 7; ++round) {
        {
            QV::piped_process child = start();
            QV::basic_plist_stream stream(std::move(child.standard_output));
            QV::plist_process_stream messages(stream);
            read.push_back(time_of([&] {
                if (messages.read_all().size() != count) throw std::runtime_error("a message is missing");
            }));
        }
        {
            QV::piped_process child = start();
            drained.push_back(
                time_of([&] { read_exactly(child.standard_output, count * message.size(), buffer); }));
        }
    }
    const figures result{median(read), median(drained)};
    const double megabytes = static_cast<double>(count * message.size()) / 1e6;
    std::printf(
        "read_all of %zu messages, %.1f MB: %.1f MB/s; the same bytes drained raw %.1f MB/s: %.2f times "
        "the time\n",
        count, megabytes, megabytes / result.ours, megabytes / result.bare, result.ours / result.bare);
}

void bench_message_cost(running_context& context, std::size_t count) {
    const int rounds = count < 1000 ? 301 : 11;
    QV::piped_process child(context.get_executor(), this_program(), {"burst", std::to_string(count)});
    QV::piped_process raw(context.get_executor(), this_program(), {"burst", std::to_string(count)});
    QV::basic_plist_stream stream(std::move(child.standard_output));
    QV::plist_process_stream messages(stream);
    std::vector<char> buffer(64 * 1024);
    const figures result = compare(
        rounds,
        [&] {
            boost::asio::write(child.standard_input, boost::asio::buffer("1", 1));
            boost::system::error_code ec;
            for (std::size_t i = 0; i < count; ++i)
                if (!messages.read(ec)) throw std::runtime_error("a message is missing");
        },
        [&] {
            boost::asio::write(raw.standard_input, boost::asio::buffer("1", 1));
            read_exactly(raw.standard_output, count * message.size(), buffer);
        });
    const double each = result.ours / static_cast<double>(count) * 1e6;
    const double bare = result.bare / static_cast<double>(count) * 1e6;
    std::printf("%5zu messages written at once: %7.2f us a message, of which the pipe alone %7.2f us, the "
                "rest %.2f us\n",
                count, each, bare, each - bare);
    child.standard_input.close();
    raw.standard_input.close();
}

// What of it is parsing: the same bytes handed to the reader of property lists.
void bench_parsing() {
    constexpr int count = 10000;
    const CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(message.data()),
                                        static_cast<CFIndex>(message.size()));
    const double taken = time_of([&] {
        for (int i = 0; i < count; ++i)
            CFRelease(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr));
    });
    CFRelease(data);
    std::printf("      parsing one, without a pipe: %7.2f us\n", taken / count * 1e6);
}

// --- spawning
// -------------------------------------------------------------------------------------------------

void spawn_bare(const QV::filesystem::path& program) {
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    HANDLE ends[3][2] = {};
    for (auto& pipe : ends)
        if (!CreatePipe(&pipe[0], &pipe[1], &inheritable, 0)) throw std::runtime_error("CreatePipe");
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = ends[0][0];
    startup.hStdOutput = ends[1][1];
    startup.hStdError = ends[2][1];
    PROCESS_INFORMATION started = {};
    std::wstring line = L"\"" + program.native() + L"\" exit";
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                        nullptr, &startup, &started))
        throw std::runtime_error("CreateProcessW");
    WaitForSingleObject(started.hProcess, INFINITE);
    CloseHandle(started.hThread);
    CloseHandle(started.hProcess);
    for (const auto& pipe : ends) {
        CloseHandle(pipe[0]);
        CloseHandle(pipe[1]);
    }
}

void bench_spawn(running_context& context) {
    const QV::filesystem::path program = this_program();
    const figures result = compare(
        51,
        [&] {
            QV::piped_process child(context.get_executor(), program, {"exit"});
            child.process.wait();
        },
        [&] { spawn_bare(program); });
    std::printf(
        "spawn to exit: piped_process %.2f ms, bare CreateProcessW with three pipes %.2f ms: %.2f times\n",
        result.ours * 1e3, result.bare * 1e3, result.ours / result.bare);
}

} // namespace

int wmain(int count, wchar_t** words) {
    if (count > 1 && std::wcscmp(words[1], L"exit") == 0) return EXIT_SUCCESS;
    if (count > 2 && std::wcscmp(words[1], L"burst") == 0) return burst(std::wcstoull(words[2], nullptr, 10));
    try {
        running_context context;
        bench_throughput(context);
        for (const std::size_t messages : {1U, 100U, 10000U})
            bench_message_cost(context, messages);
        bench_parsing();
        bench_spawn(context);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "processes_bench: %s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
