// A recovery helper that only pretends: it plays a recorded stream of messages to its standard output, the
// way a real one reports a restore. It shows what a helper owes its host, and lets recovery_host be tried
// without a device.
//
//   recovery_helper --replay FILE [--interval MS] [--stderr FILE] [--exit-code N] [--die-after N] [--chunk
//   BYTES]

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace {

constexpr std::string_view end_of_message = "</plist>";
constexpr int usage_error = 64;

struct script {
    std::string stream;                 ///< What goes to standard output, messages end to end.
    std::vector<std::string> log_lines; ///< What goes to standard error, a line beside each message.
    std::chrono::milliseconds interval{0};
    std::size_t chunk = std::numeric_limits<std::size_t>::max(); ///< Bytes written at a time.
    std::size_t die_after = std::numeric_limits<std::size_t>::max();
    int exit_code = 0;
};

std::string read_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot open " + path.string());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

unsigned long number(const std::wstring& text) {
    std::size_t used = 0;
    const unsigned long value = std::stoul(text, &used, 0);
    if (used != text.size()) throw std::invalid_argument("not a number");
    return value;
}

script read_arguments(int count, wchar_t** words) {
    std::map<std::wstring, std::wstring> options;
    for (int i = 1; i + 1 < count; i += 2)
        options[words[i]] = words[i + 1];
    if (count % 2 == 0 || !options.contains(L"--replay"))
        throw std::invalid_argument("--replay FILE is needed");

    script result;
    for (const auto& [name, value] : options) {
        if (name == L"--replay")
            result.stream = read_file(value);
        else if (name == L"--stderr")
            result.log_lines = lines_of(read_file(value));
        else if (name == L"--interval")
            result.interval = std::chrono::milliseconds(number(value));
        else if (name == L"--chunk")
            result.chunk = std::max(number(value), 1UL);
        else if (name == L"--die-after")
            result.die_after = number(value);
        else if (name == L"--exit-code")
            result.exit_code = static_cast<int>(number(value));
        else
            throw std::invalid_argument("unknown option");
    }
    return result;
}

/// Writes in pieces and flushes each: a host must cope with messages that arrive bit by bit. False when
/// nobody reads any more.
bool write_in_chunks(std::string_view bytes, std::size_t chunk) {
    while (!bytes.empty()) {
        const std::string_view piece = bytes.substr(0, chunk);
        if (std::fwrite(piece.data(), 1, piece.size(), stdout) != piece.size() || std::fflush(stdout) != 0)
            return false;
        bytes.remove_prefix(piece.size());
    }
    return true;
}

/// Dies as a helper with a bug would, but without a box on the screen that waits for somebody to press a
/// button.
void crash() {
    SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG { return EXCEPTION_EXECUTE_HANDLER; });
    RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

bool play(const script& script) {
    std::string_view rest = script.stream;
    auto log_line = script.log_lines.begin();
    std::size_t sent = 0;
    while (!rest.empty()) {
        if (sent == script.die_after) crash();
        if (log_line != script.log_lines.end()) std::fprintf(stderr, "%s\n", (log_line++)->c_str());

        const std::size_t end = rest.find(end_of_message);
        const std::size_t size = end == rest.npos ? rest.size() : end + end_of_message.size();
        if (!write_in_chunks(rest.substr(0, size), script.chunk)) return false;
        rest.remove_prefix(size);
        if (end != rest.npos) ++sent; // a line end behind the last message is none
        std::this_thread::sleep_for(script.interval);
    }
    if (sent == script.die_after) crash();
    for (; log_line != script.log_lines.end(); ++log_line)
        std::fprintf(stderr, "%s\n", log_line->c_str());
    return true;
}

} // namespace

int wmain(int count, wchar_t** words) {
    // Property lists are bytes: without this every line feed would become two characters.
    _setmode(_fileno(stdout), _O_BINARY);
    try {
        const script script = read_arguments(count, words);
        return play(script) ? script.exit_code : EXIT_FAILURE;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "recovery_helper: %s\n", failure.what());
        return usage_error;
    }
}
