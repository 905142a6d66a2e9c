// Translates between the numbers that devices report over USB and the names of their models.
//
//     device_names FEED WORD...
//
// The feed is a version info file: a property list with the product types of devices in DFU and in Recovery
// mode. Each word is a number, decimal or with 0x before it, or a product type such as iPhone15,2; it is
// looked up in both modes. Last comes which USB devices a program would watch for to meet what was found.
//
// The exit code is 0 if every word was found, 1 if one was not, 2 for a wrong command line and 3 for a feed
// that cannot be loaded.
#include <QVSharedSupport/ProductTypeFinder.h>
#include <QVSharedSupport/usb_id_set.h>

#include <CFAdapters/Error.h>
#include <QVLog/QVLog.h>

#include <boost/filesystem/detail/utf8_codecvt_facet.hpp>

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <locale>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using QV::SharedSupport::ProductTypeFinder;

/// A mode of a device: how to look product types up in it, and what the device is on the bus.
struct device_mode {
    const char* name;
    std::string (*type_of)(unsigned int number);
    unsigned int (*number_of)(const std::string& type);
    unsigned short first_pid;
    unsigned short last_pid;
};

constexpr unsigned short apple = 0x05AC;
const device_mode modes[] = {
    {"DFU", ProductTypeFinder::getDFUDeviceType, ProductTypeFinder::getDFUProductType, 0x1227, 0x1227},
    {"Recovery", ProductTypeFinder::getRecoveryDeviceType, ProductTypeFinder::getRecoveryProductType, 0x1280,
     0x1283},
};

/// The number that `word` is as a whole; none if it is something else.
std::optional<unsigned int> number_in(std::string_view word) {
    const bool is_hexadecimal = word.starts_with("0x") || word.starts_with("0X");
    if (is_hexadecimal) word.remove_prefix(2);
    unsigned int number = 0;
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number, is_hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

/// Looks `word` up in one mode and prints what it is there. @throws std::out_of_range if the mode has no such
void look_up(const device_mode& mode, const std::string& word) {
    if (const auto number = number_in(word))
        fmt::print("{}: in {} mode a {}\n", word, mode.name, mode.type_of(*number));
    else
        fmt::print("{0}: in {1} mode number {2} (0x{2:X})\n", word, mode.name, mode.number_of(word));
}

/// Looks `word` up in all modes, and adds to `watched` what devices of those are that know it.
bool look_up_everywhere(const std::string& word, QV::usb_id_set& watched) {
    bool found = false;
    for (const device_mode& mode : modes) {
        try {
            look_up(mode, word);
            watched.insert_range(apple, mode.first_pid, mode.last_pid);
            found = true;
        } catch (const std::out_of_range&) { // NOLINT(bugprone-empty-catch): not a model of this mode
        }
    }
    if (!found) fmt::print("{}: unknown\n", word);
    return found;
}

void print_watched(const QV::usb_id_set& watched) {
    for (const QV::usb_id_set::range& range : watched) {
        fmt::print("watch USB {:04x}:{:04x}", range.vid, range.first_pid);
        if (range.first_pid != range.last_pid) fmt::print(" to {:04x}:{:04x}", range.vid, range.last_pid);
        fmt::print("\n");
    }
}

int run(std::span<wchar_t* const> words) {
    if (words.size() < 2) {
        fmt::print(stderr, "device_names: usage: device_names FEED WORD...\n");
        return 2;
    }
    try {
        ProductTypeFinder::loadFromFile(words.front());
    } catch (const CF::Error& error) {
        fmt::print(stderr, "device_names: {}: {}\n", error.what(), error.failure_reason().to_string());
        return 3;
    }
    QV::usb_id_set watched;
    bool found_all = true;
    for (const wchar_t* const word : words.subspan(1)) {
        const std::u8string text = std::filesystem::path(word).u8string();
        found_all &= look_up_everywhere(std::string(text.begin(), text.end()), watched);
    }
    print_watched(watched);
    return found_all ? 0 : 1;
}

} // namespace

int wmain(int count, wchar_t** words) {
    try {
        // Feeds are named in UTF-8, so that their names may have any alphabet.
        boost::filesystem::path::imbue(
            std::locale(std::locale(), new boost::filesystem::detail::utf8_codecvt_facet));
        // How many product types were loaded is worth a line.
        QV::Logging::set_global_level(QV::Logging::log_level::notice);
        return run(std::span(words, static_cast<std::size_t>(count)).subspan(1));
    } catch (const std::exception& failure) {
        fmt::print(stderr, "device_names: {}\n", failure.what());
        return 3;
    }
}
