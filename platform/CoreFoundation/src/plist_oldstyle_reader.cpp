#include "plist_oldstyle_reader.h"

#include "ascii.h"
#include "containers.h"
#include "encodings.h"
#include "plist_text.h"

#include <algorithm>

namespace cf::plist {

namespace {

constexpr UniChar line_separator = 0x2028;
constexpr UniChar paragraph_separator = 0x2029;

bool is_white_space(UniChar c) {
    return c == ' ' || (c >= '\t' && c <= '\r') || c == line_separator || c == paragraph_separator;
}

bool ends_line(UniChar c) {
    return c == '\n' || c == '\r' || c == line_separator || c == paragraph_separator;
}

bool is_word_character(UniChar c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || c == '/' || c == ':' || c == '.' || c == '-';
}

bool starts_string(UniChar c) {
    return c == '"' || c == '\'' || is_word_character(c);
}

/// Reads by recursive descent: deepest_nesting levels of small frames.
class oldstyle_reader {
public:
    oldstyle_reader(CFAllocatorRef allocator, std::span<const UniChar> text, mutability mutable_parts)
        : allocator_(allocator), mutable_(mutable_parts), begin_(text.data()), at_(begin_),
          end_(begin_ + text.size()) {}

    CFTypeRef read();
    std::string take_problem() { return std::move(problem_); }

private:
    using reference = owned<CFTypeRef>;

    reference fail(std::string problem, const UniChar* where) {
        if (problem_.empty()) problem_ = std::move(problem) + std::to_string(line_number(begin_, where));
        return {};
    }
    reference fail(std::string problem) { return fail(std::move(problem), at_); }

    bool skip_to_content();
    reference read_value();
    reference read_array();
    reference read_dictionary();
    reference read_entries();
    reference read_data();
    reference read_string();
    bool read_quoted(std::vector<UniChar>& units);
    UniChar read_escape();

    CFAllocatorRef allocator_;
    mutability mutable_;
    const UniChar* begin_;
    const UniChar* at_;
    const UniChar* end_;
    std::size_t depth_ = 0;
    std::string problem_;
};

CFTypeRef oldstyle_reader::read() {
    if (!skip_to_content()) return read_entries().detach();
    const UniChar* first = at_;
    reference value = read_value();
    if (!value || !skip_to_content()) return value.detach();
    // More after a string: then it is the first key of a file of strings.
    if (!is(value.get(), type::string)) return fail("Junk after plist at line ").detach();
    at_ = first;
    return read_entries().detach();
}

// Whether there is anything but white space and comments. A comment without an end takes the rest.
bool oldstyle_reader::skip_to_content() {
    while (at_ < end_) {
        if (is_white_space(*at_)) {
            ++at_;
        } else if (*at_ == '/' && end_ - at_ >= 2 && at_[1] == '/') {
            at_ = std::find_if(at_, end_, ends_line);
        } else if (*at_ == '/' && end_ - at_ >= 2 && at_[1] == '*') {
            constexpr UniChar closing[] = {'*', '/'};
            at_ = std::search(at_ + 2, end_, std::begin(closing), std::end(closing));
            if (at_ < end_) at_ += 2;
        } else {
            return true;
        }
    }
    return false;
}

oldstyle_reader::reference oldstyle_reader::read_value() {
    if (!skip_to_content()) return fail("Unexpected EOF at line ");
    if (depth_ > deepest_nesting) return fail("Too many nested arrays or dictionaries at line ");
    switch (*at_) {
    case '{':
        return read_dictionary();
    case '(':
        return read_array();
    case '<':
        return read_data();
    default:
        break;
    }
    if (starts_string(*at_)) return read_string();
    constexpr std::string_view digits = "0123456789abcdef";
    std::string code;
    for (unsigned unit = *at_; unit != 0 || code.empty(); unit >>= 4)
        code.insert(code.begin(), digits[unit & 15]);
    return fail("Unexpected character '0x" + code + "' at line ");
}

oldstyle_reader::reference oldstyle_reader::read_array() {
    reference_stack values;
    ++at_;
    ++depth_;
    for (;;) {
        if (!skip_to_content()) return fail("Expected terminating ')' for array at line ");
        if (*at_ == ')') break;
        reference value = read_value();
        if (!value) return value;
        values.push(value.detach());
        const bool more = skip_to_content();
        if (more && *at_ == ')') break;
        if (!more || *at_ != ',') return fail("Expected ',' for array at line ");
        ++at_;
    }
    ++at_;
    --depth_;
    reference array(need(create_array_adopting(allocator_, values.since(0), true)));
    values.forget(0);
    return array;
}

oldstyle_reader::reference oldstyle_reader::read_dictionary() {
    ++at_;
    ++depth_;
    reference dictionary = read_entries();
    if (!dictionary) return dictionary;
    if (at_ == end_ || *at_ != '}') return fail("Expected terminating '}' for dictionary at line ");
    ++at_;
    --depth_;
    return dictionary;
}

// Reads entries as long as a key begins. "key;" is short for "key = key;".
oldstyle_reader::reference oldstyle_reader::read_entries() {
    reference_stack keys;
    reference_stack values;
    while (skip_to_content() && starts_string(*at_)) {
        const UniChar* key_at = at_;
        reference key = read_string();
        if (!key) return key;
        keys.push(key.detach());
        if (!skip_to_content() || (*at_ != ';' && *at_ != '='))
            return fail("Expected ';' or '=' after key at line ");
        reference value;
        if (*at_ == '=') {
            ++at_;
            value = read_value();
        } else {
            std::swap(key_at, at_);
            value = read_string();
            at_ = key_at;
        }
        if (!value) return value;
        values.push(value.detach());
        if (!skip_to_content() || *at_ != ';') return fail("Missing ';' on line ");
        ++at_;
    }
    reference dictionary(need(create_dictionary_adopting(allocator_, keys.since(0), values.since(0), true,
                                                         repeated_keys::last_wins)));
    keys.forget(0);
    values.forget(0);
    return dictionary;
}

// Pairs of digits with white space between them. Only the low byte of a character is looked at, as ever.
oldstyle_reader::reference oldstyle_reader::read_data() {
    std::vector<UInt8> bytes;
    constexpr std::string_view malformed_group = "Malformed data byte group at line ";
    const std::string where = std::to_string(line_number(begin_, at_));
    const auto refuse = [&](std::string_view why) {
        problem_ = std::string(malformed_group) + where + why.data();
        return reference();
    };
    for (++at_; at_ < end_ && *at_ != '>';) {
        if (is_white_space(*at_) && *at_ != '\v' && *at_ != '\f') {
            ++at_;
            continue;
        }
        const int high = hex_value(*at_ & 0xFF);
        if (high < 0) return refuse("; invalid hex");
        const int low = end_ - at_ < 2 ? -1 : hex_value(at_[1] & 0xFF);
        if (low < 0) return refuse("; uneven length");
        bytes.push_back(static_cast<UInt8>(high << 4 | low));
        at_ += 2;
    }
    if (at_ == end_) return refuse("; no terminating '>'");
    ++at_;
    return reference(need(create_data(allocator_, bytes, mutable_.leaves)));
}

oldstyle_reader::reference oldstyle_reader::read_string() {
    std::vector<UniChar> units;
    if (*at_ == '"' || *at_ == '\'') {
        if (!read_quoted(units)) return {};
    } else {
        const UniChar* word_end = std::find_if_not(at_, end_, is_word_character);
        units.assign(at_, word_end);
        at_ = word_end;
    }
    if (!mutable_.leaves) return reference(need(create_utf16_string(allocator_, units)));
    return reference(
        need(create_mutable_string(allocator_, {units.data(), static_cast<CFIndex>(units.size()), true})));
}

bool oldstyle_reader::read_quoted(std::vector<UniChar>& units) {
    const UniChar* opening = at_;
    const UniChar quote = *at_++;
    for (;;) {
        const UniChar* plain = at_;
        while (at_ < end_ && *at_ != quote && *at_ != '\\')
            ++at_;
        units.insert(units.end(), plain, at_);
        if (end_ - at_ < (at_ < end_ && *at_ == '\\' ? 2 : 1)) {
            fail("Unterminated quoted string starting on line ", opening);
            return false;
        }
        if (*at_++ == quote) return true;
        units.push_back(read_escape());
    }
}

// From behind the backslash; there is at least one character.
UniChar oldstyle_reader::read_escape() {
    const UniChar c = *at_++;
    switch (c) {
    case 'a':
        return '\a';
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case 'v':
        return '\v';
    case 'U': {
        unsigned unit = 0;
        for (int digits = 0; digits < 4 && at_ < end_ && hex_value(*at_) >= 0; ++digits, ++at_)
            unit = unit << 4 | static_cast<unsigned>(hex_value(*at_));
        return static_cast<UniChar>(unit);
    }
    default:
        break;
    }
    if (c < '0' || c > '7') return c;
    unsigned code = static_cast<unsigned>(c - '0');
    for (int digits = 1; digits < 3 && at_ < end_ && *at_ >= '0' && *at_ <= '7'; ++digits, ++at_)
        code = code << 3 | static_cast<unsigned>(*at_ - '0');
    return decode_nextstep(static_cast<UInt8>(code & 0xFF));
}

} // namespace

CFTypeRef read_oldstyle(CFAllocatorRef allocator, std::string_view text, mutability mutable_parts,
                        std::string& problem) {
    const std::ptrdiff_t length = utf16_length(text);
    if (length < 0) {
        problem = "Conversion of string failed.";
        return nullptr;
    }
    if (length == 0) {
        problem = "Conversion of string failed. The string is empty.";
        return nullptr;
    }
    std::vector<UniChar> units(static_cast<std::size_t>(length));
    utf8_to_utf16(text, units.data());
    oldstyle_reader reader(allocator, units, mutable_parts);
    const CFTypeRef value = reader.read();
    if (value == nullptr) problem = reader.take_problem();
    return value;
}

} // namespace cf::plist
