// Prints a property list or a keyed archive so that it can be read.
//
//     archive_dump [--redact] [--xml | --json] FILE
//
// Any format goes in. Of a keyed archive the objects are shown as they hold each other, not as the flat table
// that is in the file; one that holds itself cannot be shown so and is printed as it is stored. --redact
// hides passwords.
#include <QVSharedSupport/keyed_unarchiver.h>
#include <QVSharedSupport/redact_passwords.h>
#include <QVSharedSupport/sanitize.h>

#include <CFAdapters/CFAdapters.h>

#include <fcntl.h>
#include <io.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

enum class output { tree, xml, json };

struct request {
    std::filesystem::path file;
    output form = output::tree;
    bool redact = false;
};

request read_arguments(std::span<wchar_t* const> words) {
    request asked;
    for (const std::wstring_view word : words) {
        if (word == L"--redact")
            asked.redact = true;
        else if (word == L"--xml")
            asked.form = output::xml;
        else if (word == L"--json")
            asked.form = output::json;
        else if (asked.file.empty() && !word.starts_with(L"--"))
            asked.file = word;
        else
            throw std::invalid_argument("usage: archive_dump [--redact] [--xml | --json] FILE");
    }
    if (asked.file.empty())
        throw std::invalid_argument("usage: archive_dump [--redact] [--xml | --json] FILE");
    return asked;
}

CF::AutoPointer read_list(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("the file cannot be opened");
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    const CF::Data data(std::as_bytes(std::span(bytes)));
    CFErrorRef error = nullptr;
    CF::AutoPointer list = CF::AutoPointer::adopt(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, &error));
    if (!list) throw CF::Error::adopt(error);
    return list;
}

/// The values of an archive; anything else as it is.
CF::AutoPointer resolved(const CF::AutoPointer& list) {
    const CF::Dictionary archive(list);
    if (!archive.get<CF::Array>("$objects") || !archive.get<CF::Dictionary>("$top")) return list;
    try {
        return QV::unarchive(archive, QV::unknown_classes::keep);
    } catch (const QV::archiver_exceptions::archive_error& error) {
        fmt::print(stderr, "archive_dump: printed as stored: {} at {}\n", error.what(), error.key_path());
        return list;
    }
}

/// The entries in the order of their keys' texts.
std::map<std::string, CF::AutoPointer> sorted(const CF::Dictionary& dictionary) {
    std::map<std::string, CF::AutoPointer> entries;
    for (const auto& [key, value] : dictionary)
        entries.emplace(key.is<CF::String>() ? CF::String(key).to_string() : key.description(), value);
    return entries;
}

std::string shown(const CF::AutoPointer& value) {
    if (const CF::String text(value); text) return fmt::format("\"{}\"", text.to_string());
    if (value.is<CF::Boolean>()) return CF::Boolean(value).value() ? "true" : "false";
    if (value.get() == kCFNull) return "null";
    if (const CF::Number number(value); number)
        return number.is_real() ? fmt::format("{}", number.value<double>())
                                : fmt::format("{}", number.value<long long>());
    if (const CF::Data data(value); data) {
        std::string hex;
        for (const std::byte byte : data.bytes().first(std::min<std::size_t>(data.size(), 32)))
            hex += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
        return fmt::format("<{} bytes: {}{}>", data.size(), hex, data.size() > 32 ? "..." : "");
    }
    if (const auto uid = QV::detail::extract_uid(value)) return fmt::format("<object {}>", uid->value);
    return value.description();
}

// A container that occurs again is not printed again: archives can hold more paths than can be printed.
class tree_printer {
public:
    void print(const CF::AutoPointer& value, const std::string& name, std::size_t level) {
        const std::string indent(level * 2, ' ');
        const CF::Array array(value);
        const CF::Dictionary dictionary(value);
        if (array.empty() && dictionary.empty()) {
            fmt::print("{}{}{}\n", indent, name, array ? "[]" : dictionary ? "{}" : shown(value));
            return;
        }
        const auto [first, is_new] = printed_.emplace(value.get(), printed_.size() + 1);
        if (!is_new || level == deepest) {
            fmt::print("{}{}{}\n", indent, name, is_new ? "..." : fmt::format("see #{}", first->second));
            return;
        }
        fmt::print("{}{}{} #{}\n", indent, name, array ? "array" : "dictionary", first->second);
        for (std::size_t index = 0; index < array.size(); ++index)
            print(array[index], fmt::format("{}: ", index), level + 1);
        for (const auto& [key, entry] : sorted(dictionary))
            print(entry, key + ": ", level + 1);
    }

private:
    static constexpr std::size_t deepest = 200;

    std::map<CFTypeRef, std::size_t> printed_;
};

std::string json_text(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            quoted += {'\\', c};
        else if (static_cast<unsigned char>(c) < 0x20)
            quoted += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        else
            quoted += c;
    }
    return quoted + '"';
}

std::string json(const CF::AutoPointer& value, std::size_t level = 0) {
    if (level > 200) throw std::runtime_error("nested too deep for JSON");
    std::string text;
    const auto add = [&](const std::string& part) {
        text += (text.empty() ? "" : ",") + part;
        if (text.size() > 256 * 1024 * 1024) throw std::runtime_error("too large for JSON");
    };
    if (const CF::Array array(value); array) {
        for (const CF::AutoPointer& element : array)
            add(json(element, level + 1));
        return "[" + text + "]";
    }
    if (const CF::Dictionary dictionary(value); dictionary) {
        for (const auto& [key, entry] : sorted(dictionary))
            add(json_text(key) + ":" + json(entry, level + 1));
        return "{" + text + "}";
    }
    if (const CF::String string(value); string) return json_text(string.to_string());
    if (value.is<CF::Number>() || value.is<CF::Boolean>() || value.get() == kCFNull) return shown(value);
    return json_text(shown(value));
}

void print(const CF::AutoPointer& value, output form) {
    if (form == output::tree) return tree_printer().print(value, "", 0);
    if (form == output::json) {
        fmt::print("{}\n", json(value));
        return;
    }
    const CF::AutoPointer clean = QV::sanitize_for_xml(value, QV::on_error::leave_out);
    const CF::Data xml = CF::Data::adopt(CFPropertyListCreateData(kCFAllocatorDefault, clean.get(),
                                                                  kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (!xml) throw std::runtime_error("the value cannot be written as XML");
    std::fwrite(xml.bytes().data(), 1, xml.size(), stdout);
}

} // namespace

int wmain(int count, wchar_t** words) {
    _setmode(_fileno(stdout), _O_BINARY);
    try {
        const request asked = read_arguments(std::span(words, static_cast<std::size_t>(count)).subspan(1));
        CF::AutoPointer value = resolved(read_list(asked.file));
        if (asked.redact) value = QV::redact_passwords(value).get_redacted();
        print(value, asked.form);
        return 0;
    } catch (const std::exception& failure) {
        fmt::print(stderr, "archive_dump: {}\n", failure.what());
        return 1;
    }
}
