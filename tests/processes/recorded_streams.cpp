#include "recorded_streams.h"

#include "../helpers/test_folders.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string decode_base64(std::string_view text) {
    static constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text) {
        const std::size_t digit = digits.find(c);
        if (digit == std::string_view::npos) break;
        bits = bits << 6 | static_cast<unsigned>(digit);
        count += 6;
        if (count < 8) continue;
        count -= 8;
        bytes.push_back(static_cast<char>(bits >> count & 0xFF));
    }
    return bytes;
}

// Seconds since the first of January 2001, the zero of CoreFoundation's dates.
double absolute_time(const char* iso) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (std::sscanf(iso, "%d-%u-%uT%d:%d:%dZ", &year, &month, &day, &hour, &minute, &second) != 6) return -1;
    using namespace std::chrono;
    const auto days = sys_days(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day)) -
                      sys_days(2001y / January / 1d);
    return static_cast<double>(days.count()) * 86400 + hour * 3600 + minute * 60 + second;
}

std::string_view text(const rapidjson::Value& value) {
    return {value.GetString(), value.GetStringLength()};
}

// The recordings have XML's LF for every CR LF; whether the property-list reader has it too is not a matter
// of the stream.
bool same_text(const CF::String& string, std::string_view recorded) {
    if (!string) return false;
    std::string text = string.to_string();
    for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;)
        text.erase(at, 1);
    return text == recorded;
}

bool same_number(CFNumberRef number, const rapidjson::Value& recorded) {
    if (recorded.IsInt64()) {
        SInt64 value = 0;
        return !CFNumberIsFloatType(number) && CFNumberGetValue(number, kCFNumberSInt64Type, &value) &&
               value == recorded.GetInt64();
    }
    if (recorded.IsUint64())
        return CF::Number(number).description().find(std::to_string(recorded.GetUint64())) !=
               std::string::npos;
    double value = 0;
    return CFNumberGetValue(number, kCFNumberDoubleType, &value) && value == recorded.GetDouble();
}

bool same_dictionary(const CF::Dictionary& dictionary, const rapidjson::Value& recorded) {
    return dictionary && dictionary.size() == recorded.MemberCount() &&
           std::all_of(recorded.MemberBegin(), recorded.MemberEnd(), [&](const auto& member) {
               const CF::AutoPointer value = dictionary[text(member.name)];
               return value && same_value(value.get(), member.value);
           });
}

bool same_array(const CF::Array& array, const rapidjson::Value& recorded) {
    if (!array || array.size() != recorded.Size()) return false;
    for (rapidjson::SizeType i = 0; i < recorded.Size(); ++i) {
        if (!same_value(CFArrayGetValueAtIndex(array.get(), static_cast<CFIndex>(i)), recorded[i]))
            return false;
    }
    return true;
}

} // namespace

bool same_value(CFTypeRef value, const rapidjson::Value& recorded) {
    if (value == nullptr) return false;
    if (recorded.IsBool()) return CFEqual(value, recorded.GetBool() ? kCFBooleanTrue : kCFBooleanFalse);
    if (recorded.IsString()) return same_text(CF::String(value), text(recorded));
    if (recorded.IsNumber())
        return CFGetTypeID(value) == CFNumberGetTypeID() &&
               same_number(static_cast<CFNumberRef>(value), recorded);
    if (recorded.IsArray()) return same_array(CF::Array(value), recorded);
    if (!recorded.IsObject()) return false;
    if (recorded.HasMember("$date"))
        return CFGetTypeID(value) == CFDateGetTypeID() &&
               CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)) ==
                   absolute_time(recorded["$date"].GetString());
    if (recorded.HasMember("$data")) {
        const CF::Data data(value);
        const std::string bytes = decode_base64(text(recorded["$data"]));
        return data && data.size() == bytes.size() &&
               std::memcmp(data.bytes().data(), bytes.data(), bytes.size()) == 0;
    }
    return same_dictionary(CF::Dictionary(value), recorded);
}

std::vector<fs::path> recorded_stream_files() {
    std::vector<fs::path> folders = {test::own_data() / "stream"};
    if (const auto collection = test::collected_data()) folders.push_back(*collection / "stream");
    std::vector<fs::path> files;
    for (const fs::path& folder : folders) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            // The collection holds this project's own streams as well.
            const auto same_name = [&](const fs::path& file) {
                return file.filename() == entry.path().filename();
            };
            if (entry.path().extension() == ".plists" && std::none_of(files.begin(), files.end(), same_name))
                files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

recorded_stream load_recorded_stream(const fs::path& path) {
    recorded_stream stream;
    stream.path = path;
    stream.bytes = contents(path);
    fs::path expected = path;
    expected.replace_extension(".expected.json");
    stream.document.Parse<rapidjson::kParseFullPrecisionFlag>(contents(expected).c_str());
    const auto& messages = stream.document["messages"];
    static constexpr std::string_view delimiter = "</plist>";
    std::size_t begin = 0;
    for (std::size_t found = 0; (found = stream.bytes.find(delimiter, begin)) != std::string::npos;) {
        const std::size_t end = found + delimiter.size();
        recorded_stream::frame frame;
        frame.bytes = stream.bytes.substr(begin, end - begin);
        for (const auto& message : messages.GetArray()) {
            const std::size_t offset = message["offset"].GetUint64();
            const bool same_end = offset + message["length"].GetUint64() == end;
            const bool same_begin = offset >= begin &&
                                    stream.bytes.find_first_not_of(" \t\r\n", begin) >= offset &&
                                    // A byte-order mark is one at the very beginning only, and a line break
                                    // before it belongs to the message.
                                    (offset == begin || stream.bytes.compare(offset, 3, "\xEF\xBB\xBF") != 0);
            // "Lenient" says that parsers differ: not a matter of this test.
            const bool disputed =
                message.HasMember("why") && text(message["why"]).find("lenient") != std::string_view::npos;
            if (!same_end || !same_begin || disputed) continue;
            frame.recorded = true;
            const bool dictionary = message["root"].IsString() && text(message["root"]) == "dict";
            frame.is_message = dictionary && message.HasMember("Type") && message["Type"].IsString();
            if (frame.is_message) frame.type = text(message["Type"]);
            if (message.HasMember("Value") && !message["Value"].IsNull()) frame.value = &message["Value"];
            // Of the largest values only the size is recorded.
            frame.has_value = frame.value != nullptr || message.HasMember("Value_bytes");
        }
        stream.frames.push_back(std::move(frame));
        begin = end;
    }
    return stream;
}

std::vector<std::pair<std::string, std::string>> chunk_plans() {
    rapidjson::Document document;
    document.Parse(contents(test::own_data() / "stream" / "chunk_plans.json").c_str());
    std::vector<std::pair<std::string, std::string>> plans;
    for (const auto& member : document.GetObject()) {
        if (!member.value.IsArray()) continue;
        std::string sizes;
        for (const auto& size : member.value.GetArray()) {
            if (!sizes.empty()) sizes.push_back(',');
            sizes.append(std::to_string(size.GetUint()));
        }
        plans.emplace_back(member.name.GetString(), sizes);
    }
    return plans;
}
