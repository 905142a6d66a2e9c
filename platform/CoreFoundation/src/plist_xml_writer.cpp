#include "plist_xml_writer.h"

#include "archiver_uid.h"
#include "plist_base64.h"
#include "plist_buffer.h"
#include "plist_calendar.h"
#include "plist_numbers.h"
#include "plist_sorted_entries.h"
#include "plist_text.h"
#include "plist_walk.h"

#include <CoreFoundation/CFDate.h>

#include <algorithm>

namespace cf::plist {

namespace {

using std::string_view;

constexpr string_view head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                             "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                             "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                             "<plist version=\"1.0\">\n";
constexpr string_view tail = "</plist>\n";

// What a character of a string is written as; empty for itself.
constexpr string_view escape_of(char32_t c) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    default:
        return {};
    }
}

constexpr std::uint64_t every_byte = 0x0101010101010101;

// Whether one of eight bytes is an '&', '<' or '>'; the latter two differ in one bit.
bool has_special(std::uint64_t word) {
    const std::uint64_t ampersands = word ^ every_byte * '&';
    const std::uint64_t brackets = (word | every_byte * ('<' ^ '>')) ^ every_byte * '>';
    const std::uint64_t zeros =
        ((ampersands - every_byte) & ~ampersands) | ((brackets - every_byte) & ~brackets);
    return (zeros & every_byte * 0x80) != 0;
}

// How many characters come before the first one to be escaped.
std::size_t plain_length(string_view text) {
    std::size_t length = 0;
    for (; text.size() - length >= 8; length += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + length, sizeof(word));
        if (has_special(word)) break;
    }
    while (length < text.size() && escape_of(static_cast<unsigned char>(text[length])).empty())
        ++length;
    return length;
}

/// Writes a value without recursion: open containers lie on a stack of our own.
class xml_writer {
public:
    explicit xml_writer(CFAllocatorRef allocator) : out_(allocator) {}

    bool write(CFTypeRef root);
    CFDataRef take() { return out_.take(); }
    std::string take_problem() { return std::move(problem_); }

private:
    struct frame {
        const void* const* next_value; ///< Of an array.
        std::size_t next_entry;        ///< Of a dictionary, into entries_.
        std::size_t first_entry;
        std::size_t left;
        bool is_array;
        bool counts;
    };

    bool fail(std::string problem) {
        problem_ = std::move(problem);
        return false;
    }
    std::size_t indent() const { return frames_.size(); }

    bool write_next();
    bool write_value(CFTypeRef value, bool counted);
    bool open_array(CFArrayRef array, bool counted);
    bool open_dictionary(CFDictionaryRef dictionary, bool counted);
    void close();
    char* begin_line(string_view text, std::size_t extra);
    void write_line(string_view text) { out_.wrote(begin_line(text, 0)); }
    void write_element(string_view open, CFStringRef string, string_view close);
    void write_narrow(string_view text, char* to);
    void write_wide(std::span<const UniChar> units);
    void write_number(CFNumberRef number);
    bool write_date(CFDateRef date);
    void write_data(CFDataRef data);
    void write_uid(const archiver_uid& uid);

    byte_buffer out_;
    walk_guard guard_;
    std::vector<frame> frames_;
    std::vector<sorted_entry> entries_;
    std::string problem_;
};

bool xml_writer::write(CFTypeRef root) {
    out_.append(head);
    if (!write_value(root, false)) return false;
    while (!frames_.empty()) {
        if (frames_.back().left == 0) {
            close();
        } else if (!write_next()) {
            return false;
        }
    }
    out_.append(tail);
    return true;
}

bool xml_writer::write_next() {
    frame& top = frames_.back();
    --top.left;
    if (top.is_array) return write_value(*top.next_value++, top.counts);
    const entry& next = *entries_[top.next_entry++].source;
    const bool counts = top.counts;
    write_element("<key>", static_cast<CFStringRef>(next.key), "</key>\n");
    return write_value(next.value, counts);
}

bool xml_writer::write_value(CFTypeRef value, bool counted) {
    if (value == nullptr) return fail(refusal_of_value(value));
    switch (type_of(value)) {
    case type::string:
        write_element("<string>", static_cast<CFStringRef>(value), "</string>\n");
        return true;
    case type::number:
        write_number(static_cast<CFNumberRef>(value));
        return true;
    case type::boolean:
        write_line(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0 ? "<true/>\n" : "<false/>\n");
        return true;
    case type::date:
        return write_date(static_cast<CFDateRef>(value));
    case type::data:
        write_data(static_cast<CFDataRef>(value));
        return true;
    case type::array:
        return open_array(static_cast<CFArrayRef>(value), counted);
    case type::dictionary:
        return open_dictionary(static_cast<CFDictionaryRef>(value), counted);
    case type::archiver_uid:
        write_uid(*static_cast<const archiver_uid*>(value));
        return true;
    default:
        return fail(refusal_of_value(value));
    }
}

bool xml_writer::open_array(CFArrayRef array, bool counted) {
    const auto values = values_of(array);
    if (values.empty()) {
        write_line("<array/>\n");
        return true;
    }
    if (!guard_.enter(array, counted)) return fail(guard_.problem());
    write_line("<array>\n");
    frames_.push_back({values.data(), 0, 0, values.size(), true, counts_values(array)});
    return true;
}

bool xml_writer::open_dictionary(CFDictionaryRef dictionary, bool counted) {
    const auto entries = entries_of(dictionary);
    if (entries.empty()) {
        write_line("<dict/>\n");
        return true;
    }
    if (!guard_.enter(dictionary, counted)) return fail(guard_.problem());
    for (const entry& each : entries) {
        if (!is(each.key, type::string)) return fail(refusal_of_key(each.key));
    }
    write_line("<dict>\n");
    const std::size_t first = entries_.size();
    append_sorted(entries, entries_);
    frames_.push_back({nullptr, first, first, entries.size(), false, counts_values(dictionary)});
    return true;
}

void xml_writer::close() {
    const frame closed = frames_.back();
    frames_.pop_back();
    guard_.leave();
    entries_.resize(closed.is_array ? entries_.size() : closed.first_entry);
    write_line(closed.is_array ? "</array>\n" : "</dict>\n");
}

// Writes the indentation and `text`, with room for `extra` more characters, and returns the end.
char* xml_writer::begin_line(string_view text, std::size_t extra) {
    constexpr string_view tabs = "\t\t\t\t\t\t\t\t";
    const std::size_t wanted = indent();
    char* to = out_.room(wanted + tabs.size() + text.size() + extra);
    for (std::size_t done = 0; done < wanted; done += tabs.size())
        std::memcpy(to + done, tabs.data(), tabs.size());
    to += wanted;
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

void xml_writer::write_element(string_view open, CFStringRef string, string_view close) {
    const text_view text = view(string);
    if (text.wide) {
        write_line(open);
        write_wide(text.utf16());
    } else {
        write_narrow(text.narrow(), begin_line(open, text.narrow().size()));
    }
    out_.append(close);
}

// Writes to `to`, where there is room for the text without escapes.
void xml_writer::write_narrow(string_view text, char* to) {
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;;) {
        const std::size_t plain = plain_length({at, static_cast<std::size_t>(end - at)});
        std::memcpy(to, at, plain);
        out_.wrote(to + plain);
        at += plain;
        if (at == end) return;
        out_.append(escape_of(static_cast<unsigned char>(*at++)));
        to = out_.room(static_cast<std::size_t>(end - at));
    }
}

// An unpaired surrogate, which no UTF-8 text can hold, is written as U+FFFD.
void xml_writer::write_wide(std::span<const UniChar> units) {
    constexpr std::size_t chunk = 256;
    constexpr std::size_t most_bytes = 5; // "&amp;"
    for (std::size_t index = 0; index < units.size();) {
        const std::size_t end = std::min(units.size(), index + chunk);
        char* to = out_.room((chunk + 1) * most_bytes);
        while (index < end) {
            char32_t scalar = decode_utf16(units, index);
            if (scalar == malformed) scalar = 0xFFFD;
            const string_view escape = escape_of(scalar);
            to = escape.empty() ? encode_utf8(scalar, to) : to + escape.copy(to, escape.size());
        }
        out_.wrote(to);
    }
}

void xml_writer::write_number(CFNumberRef number) {
    constexpr std::size_t longest = std::max(longest_real, longest_integer);
    if (is_real(number)) {
        out_.wrote(format_real(number->real, begin_line("<real>", longest)));
        out_.append("</real>\n");
    } else {
        out_.wrote(format_integer(integer_value(number), begin_line("<integer>", longest)));
        out_.append("</integer>\n");
    }
}

bool xml_writer::write_date(CFDateRef date) {
    char text[longest_date];
    const char* end = format_date(CFDateGetAbsoluteTime(date), text);
    if (end == nullptr)
        return fail("property lists in XML cannot contain dates that the calendar cannot express");
    write_line("<date>");
    out_.append({text, static_cast<std::size_t>(end - text)});
    out_.append("</date>\n");
    return true;
}

// Lines become shorter the deeper the data lies, down to twelve characters.
void xml_writer::write_data(CFDataRef data) {
    write_line("<data>\n");
    const UInt8* bytes = CFDataGetBytePtr(data);
    auto left = static_cast<std::size_t>(CFDataGetLength(data));
    const std::size_t tabs = std::min<std::size_t>(indent(), 8);
    const std::size_t line = (76 - 8 * tabs) / 4 * 3;
    while (left > 0) {
        const std::size_t size = std::min(left, line);
        char* to = out_.room(tabs + 80);
        std::memset(to, '\t', tabs);
        to = encode_base64(bytes, size, to + tabs);
        *to++ = '\n';
        out_.wrote(to);
        bytes += size;
        left -= size;
    }
    write_line("</data>\n");
}

void xml_writer::write_uid(const archiver_uid& uid) {
    write_line("<dict>\n");
    out_.append(indent() + 1, '\t');
    out_.append("<key>CF$UID</key>\n");
    out_.append(indent() + 1, '\t');
    out_.append("<integer>");
    out_.wrote(format_integer({0, uid.value}, out_.room(longest_integer)));
    out_.append("</integer>\n");
    write_line("</dict>\n");
}

} // namespace

CFDataRef write_xml(CFAllocatorRef allocator, CFTypeRef value, std::string& problem) {
    xml_writer writer(allocator);
    if (writer.write(value)) return writer.take();
    problem = writer.take_problem();
    return nullptr;
}

} // namespace cf::plist
