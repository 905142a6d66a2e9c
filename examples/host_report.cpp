// Prints what the library knows of this computer, as a diagnostics bundle would hold it.
//
//     host_report [--json] [--report FILE [--timeout SECONDS]]
//
// --json prints one JSON object; what could not be found out is null there and has its reason under
// "failures".
// --report also has the system's own tool write its report, which takes it minutes: 300 seconds are allowed
// for that unless --timeout says otherwise. The exit code is 1 when there is no such report, 2 for wrong
// arguments.
#include <QVSharedSupport/JSON.h>
#include <QVSharedSupport/SystemConfiguration.h>
#include <QVSharedSupport/debug.h>
#include <QVSharedSupport/host_info.h>
#include <QVSharedSupport/software_version.h>

#include <QVLog/QVLog.h>

#include <fcntl.h>
#include <io.h>

#include <fmt/format.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using QV::SharedSupport::JSON::JsonArray;
using QV::SharedSupport::JSON::JsonObject;
using QV::SharedSupport::JSON::JsonValue;

struct request {
    bool json = false;
    std::optional<std::filesystem::path> report;
    std::chrono::seconds timeout{300};
};

struct fact {
    const char* name;    ///< in JSON
    const char* label;   ///< for people
    JsonValue value;     ///< null if it is not known
    std::string failure; ///< why, if there is a reason
};

class usage_error : public std::invalid_argument {
public:
    usage_error() : invalid_argument("usage: host_report [--json] [--report FILE [--timeout SECONDS]]") {}
};

std::chrono::seconds read_seconds(std::wstring_view word) {
    // Eight digits are three years, and far from what the clock can hold.
    const bool is_number = !word.empty() && word.size() <= 8 &&
                           std::ranges::all_of(word, [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    if (!is_number) throw usage_error();
    return std::chrono::seconds(std::stoll(std::wstring(word)));
}

request read_arguments(std::span<wchar_t* const> words) {
    request asked;
    for (auto word = words.begin(); word != words.end(); ++word) {
        const std::wstring_view option = *word;
        if (option == L"--json") {
            asked.json = true;
            continue;
        }
        if (++word == words.end()) throw usage_error();
        if (option == L"--report")
            asked.report = *word;
        else if (option == L"--timeout")
            asked.timeout = read_seconds(*word);
        else
            throw usage_error();
    }
    return asked;
}

/// What `ask` gives, or why it gives nothing: one fact that cannot be had must not cost the others.
template <class Function>
fact find_out(const char* name, const char* label, Function ask) {
    fact found{name, label, nullptr, {}};
    try {
        found.value = ask();
    } catch (const std::exception& failure) {
        found.failure = failure.what();
    }
    return found;
}

JsonValue text_or_null(const std::string& text) {
    return text.empty() ? JsonValue(nullptr) : JsonValue(text);
}

JsonValue addresses() {
    const auto found = QV::SharedSupport::get_local_ip_addresses();
    JsonArray texts;
    for (const auto& address : found.value())
        texts.emplace_back(address.to_string());
    return texts;
}

JsonValue translated() {
    const std::optional<bool> answer = QV::is_running_rosetta_translated();
    return answer ? JsonValue(*answer) : JsonValue(nullptr);
}

JsonValue family() {
    return QV::SharedSupport::get_os_family() == QV::SharedSupport::OSFamily::windows ? "Windows" : "other";
}

JsonValue bits() {
    return QV::SharedSupport::get_os_bitness() == QV::SharedSupport::OSBitness::bits_64 ? 64 : 32;
}

JsonValue device_runtime() {
    const QV::software_version version = QV::get_mobile_device_version();
    return version == QV::software_version() ? JsonValue(nullptr) : JsonValue(QV::to_string(version));
}

JsonValue stack_trace() {
    const std::string text = QV::SharedSupport::Debug::get_backtrace();
    JsonArray lines;
    for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != text.npos; start = end + 1)
        lines.emplace_back(std::string_view(text).substr(start, end - start));
    return lines;
}

std::vector<fact> all_facts() {
    using namespace QV::SharedSupport;
    const QV::hardware_info hardware = QV::get_hardware_info();
    return {
        find_out("family", "System", &family),
        find_out("version", "Version", [] { return JsonValue(get_os_version()); }),
        find_out("architecture", "Architecture", [] { return JsonValue(get_os_arch()); }),
        find_out("bits", "Bits", &bits),
        find_out("translated", "Translated", &translated),
        find_out("manufacturer", "Manufacturer", [&] { return text_or_null(hardware.manufacturer); }),
        find_out("model", "Model", [&] { return text_or_null(hardware.model); }),
        find_out("user", "User", [] { return JsonValue(QXSystemGetUserIdentifier().to_string()); }),
        find_out("mac_address", "Hardware address", [] { return JsonValue(get_primary_mac_address()); }),
        find_out("addresses", "Addresses", &addresses),
        find_out("automatic_driver_download", "Driver download",
                 [] { return JsonValue(QXSystemSettingIsWin7AutoDriverDownloadEnabled()); }),
        find_out("device_runtime", "Device runtime", &device_runtime),
        find_out("stack_trace", "Stack trace", &stack_trace),
    };
}

std::string to_utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

fact write_report(const std::filesystem::path& file, std::chrono::seconds timeout) {
    return find_out("report", "Report", [&] {
        QV::SystemConfiguration::CreateSystemReportFile(file.native(), timeout);
        return JsonValue(to_utf8(file));
    });
}

/// The value as the lines of its column.
std::vector<std::string> shown(const fact& what) {
    if (!what.failure.empty()) return {fmt::format("({})", what.failure)};
    if (what.value.type() == typeid(std::nullptr_t)) return {"(not known)"};
    if (const auto* const text = boost::get<std::string>(&what.value)) return {*text};
    if (const auto* const truth = boost::get<bool>(&what.value)) return {*truth ? "on" : "off"};
    if (const auto* const number = boost::get<double>(&what.value)) return {fmt::format("{}", *number)};
    std::vector<std::string> lines;
    if (const auto* const list = boost::get<JsonArray>(&what.value))
        for (const JsonValue& element : *list)
            lines.push_back(boost::get<std::string>(element));
    if (lines.empty()) lines.emplace_back("(none)");
    return lines;
}

void print_table(const std::vector<fact>& facts) {
    for (const fact& what : facts) {
        const char* label = what.label;
        for (const std::string& line : shown(what)) {
            fmt::print("{:<18}{}\n", label, line);
            label = "";
        }
    }
}

void print_json(const std::vector<fact>& facts) {
    JsonObject object;
    JsonObject failures;
    for (const fact& what : facts) {
        object.emplace(what.name, what.value);
        if (!what.failure.empty()) failures.emplace(what.name, what.failure);
    }
    object.emplace("failures", failures);
    fmt::print("{}\n", QV::SharedSupport::JSON::to_pretty_string(object));
}

int run(const request& asked) {
    std::vector<fact> facts = all_facts();
    bool complete = true;
    if (asked.report) {
        facts.push_back(write_report(*asked.report, asked.timeout));
        complete = facts.back().failure.empty();
        if (!complete) fmt::print(stderr, "host_report: {}\n", facts.back().failure);
    }
    asked.json ? print_json(facts) : print_table(facts);
    return complete ? 0 : 1;
}

} // namespace

int wmain(int count, wchar_t** words) {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    QV::Logging::set_sinks({}); // what cannot be found out is said in its place, not in a log
    SetConsoleOutputCP(CP_UTF8);
    try {
        return run(read_arguments(std::span(words, static_cast<std::size_t>(count)).subspan(1)));
    } catch (const usage_error& error) {
        fmt::print(stderr, "{}\n", error.what());
        return 2;
    } catch (const std::exception& failure) {
        fmt::print(stderr, "host_report: {}\n", failure.what());
        return 1;
    }
}
