#include "plist_xml_scanner.h"

#include "string_storage.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace cf::plist {

namespace {

using std::string_view;

constexpr std::array<string_view, 11> names = {"plist", "array", "dict",    "key",  "string", "data",
                                               "date",  "real",  "integer", "true", "false"};

// The eight bytes at `at`, the first one lowest.
std::uint64_t load_word(const char* at) {
    std::uint64_t word = 0;
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(&word, at, sizeof(word));
    } else {
        for (int i = 7; i >= 0; --i)
            word = word << 8 | static_cast<unsigned char>(at[i]);
    }
    return word;
}

/// A name and the '>' behind it as one word: the longest is that of <integer>.
struct whole_tag {
    std::uint64_t text = 0;
    std::uint64_t mask = 0;
};

constexpr std::array<whole_tag, names.size()> whole_tags = [] {
    std::array<whole_tag, names.size()> tags{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (std::size_t j = 0; j <= names[i].size(); ++j) {
            const char c = j < names[i].size() ? names[i][j] : '>';
            tags[i].text |= std::uint64_t{static_cast<unsigned char>(c)} << (8 * j);
            tags[i].mask |= std::uint64_t{0xFF} << (8 * j);
        }
    }
    return tags;
}();

bool is_whole_tag(std::uint64_t word, element kind) {
    const whole_tag& tag = whole_tags[static_cast<std::size_t>(kind)];
    return (word & tag.mask) == tag.text;
}

// The element whose name and '>' begin a word; plist, which is no candidate, if there is none.
element common_element(std::uint64_t word) {
    static constexpr std::array<element, 256> candidates = [] {
        std::array<element, 256> table{};
        table['k'] = element::key;
        table['s'] = element::string;
        table['i'] = element::integer;
        table['a'] = element::array;
        table['r'] = element::real;
        return table;
    }();
    element candidate = candidates[word & 0xFF];
    if ((word & 0xFF) == 'd') {
        const std::uint64_t third = word >> 16 & 0xFF;
        const bool is_date = (word >> 24 & 0xFF) == 'e';
        candidate = third == 'c' ? element::dict : is_date ? element::date : element::data;
    }
    return candidate != element::plist && is_whole_tag(word, candidate) ? candidate : element::plist;
}

// How many of the bytes from `at` on come before the first '<' or '&', and whether those are ASCII.
struct run {
    const char* end;
    bool ascii;
};

constexpr std::uint64_t every_byte = 0x0101010101010101;
constexpr std::uint64_t high_bits = 0x8080808080808080;

// Marks zero bytes with their high bit. Bytes above the lowest zero byte may be marked wrongly.
constexpr std::uint64_t mark_zeros(std::uint64_t word) {
    return (word - every_byte) & ~word & high_bits;
}

run find_special(const char* at, const char* end) {
    std::uint64_t seen = 0;
    while (end - at >= 8) {
        const std::uint64_t word = load_word(at);
        const std::uint64_t marks = mark_zeros(word ^ every_byte * '<') | mark_zeros(word ^ every_byte * '&');
        if (marks != 0) {
            const int bits = std::countr_zero(marks) & ~7;
            seen |= word & ((std::uint64_t{1} << bits) - 1);
            return {at + bits / 8, (seen & high_bits) == 0};
        }
        seen |= word;
        at += 8;
    }
    for (; at < end && *at != '<' && *at != '&'; ++at)
        seen |= static_cast<unsigned char>(*at);
    return {at, (seen & high_bits) == 0};
}

bool name_ends(char c) {
    return c == '>' || is_blank(c);
}

// Null if no element is called that.
const element* find_element(string_view name) {
    static constexpr std::array<element, 11> elements = {
        element::plist, element::array, element::dict,    element::key,   element::string, element::data,
        element::date,  element::real,  element::integer, element::true_, element::false_};
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) return &elements[i];
    }
    return nullptr;
}

} // namespace

string_view name_of(element kind) {
    return names[static_cast<std::size_t>(kind)];
}

bool xml_scanner::fail(std::string problem) {
    if (problem_.empty()) problem_ = std::move(problem);
    return false;
}

std::string xml_scanner::quoted_character() const {
    if (at_ == end_) return "EOF";
    constexpr string_view digits = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(*at_);
    std::string text = "'";
    text += code < 0x80 ? *at_ : '?';
    text += "' (0x";
    text += digits[code >> 4];
    text += digits[code & 15];
    return text + ")";
}

// Elements are mostly on lines of their own, indented with tabs.
void xml_scanner::skip_blanks() {
    if (at_ < end_ && *at_ == '\n') {
        ++at_;
        while (end_ - at_ >= 8) {
            const std::uint64_t others = load_word(at_) ^ every_byte * '\t';
            if (others != 0) {
                at_ += std::countr_zero(others) / 8;
                break;
            }
            at_ += 8;
        }
    }
    while (at_ < end_ && is_blank(*at_))
        ++at_;
}

bool xml_scanner::find_root() {
    for (;;) {
        skip_blanks();
        if (at_ == end_) return fail("No XML content found");
        if (*at_ != '<')
            return fail("Unexpected character " + quoted_character() + " at line " + std::to_string(line()));
        ++at_;
        if (starts_with("!--")) {
            // Before the root a comment has at least one character: "<!---->" does not end itself.
            if (!skip_comment(1)) return false;
        } else if (starts_with("!")) {
            if (!skip_document_type()) return false;
        } else if (starts_with("?")) {
            if (!skip_processing_instruction()) return false;
        } else {
            return true;
        }
    }
}

markup xml_scanner::next_markup() {
    for (;;) {
        skip_blanks();
        if (at_ == end_) {
            unexpected_end();
            return markup::none;
        }
        if (*at_ != '<') {
            fail("Encountered unexpected character " + quoted_character() + " on line " +
                 std::to_string(line()) + " while looking for open tag");
            return markup::none;
        }
        ++at_;
        if (at_ == end_) {
            unexpected_end();
            return markup::none;
        }
        switch (*at_) {
        case '/':
            ++at_;
            return markup::close_tag;
        case '?':
            if (!skip_processing_instruction()) return markup::none;
            break;
        case '!':
            if (!starts_with("!--")) {
                fail("Encountered unexpected declaration on line " + std::to_string(line()));
                return markup::none;
            }
            if (!skip_comment(0)) return markup::none;
            break;
        default:
            return markup::element;
        }
    }
}

// From behind the '<'. One that ends with the text counts as unterminated.
bool xml_scanner::skip_comment(std::size_t shortest) {
    const string_view rest(at_, static_cast<std::size_t>(end_ - at_));
    const std::size_t found = rest.find("-->", 3 + shortest);
    if (found == string_view::npos || found + 3 >= rest.size())
        return fail("Unterminated comment started on line " + std::to_string(line()));
    at_ += found + 3;
    return true;
}

bool xml_scanner::skip_processing_instruction() {
    const string_view rest(at_, static_cast<std::size_t>(end_ - at_));
    const std::size_t found = rest.find("?>", 1);
    if (found == string_view::npos || found + 2 >= rest.size())
        return fail("Encountered unexpected EOF while parsing the processing instruction begun on line " +
                    std::to_string(line()));
    at_ += found + 2;
    return true;
}

// The declarations that a document type may hold in brackets are not supported.
bool xml_scanner::skip_document_type() {
    if (!starts_with("!DOCTYPE")) return fail("Malformed DTD on line " + std::to_string(line()));
    const char* end = std::find_if(at_, end_, [](char c) { return c == '>' || c == '['; });
    if (end == end_) return fail("Encountered unexpected EOF while parsing DTD");
    if (*end == '[') return fail("Encountered unsupported inline DTD on line " + std::to_string(line()));
    at_ = end + 1;
    return true;
}

bool xml_scanner::read_open_tag(tag& opened) {
    if (end_ - at_ >= 8) {
        const element common = common_element(load_word(at_));
        if (common != element::plist) {
            opened = {common, false, name_of(common)};
            at_ += opened.name.size() + 1;
            return true;
        }
    }
    return read_any_open_tag(opened);
}

bool xml_scanner::read_any_open_tag(tag& opened) {
    const char* name = at_;
    const char* p = at_;
    while (p < end_ && !name_ends(*p))
        ++p;
    if (p == end_) return unexpected_end();
    const char* name_end = p;
    if (*p != '>') {
        // Attributes mean nothing here.
        p = static_cast<const char*>(std::memchr(p, '>', static_cast<std::size_t>(end_ - p)));
        if (p == nullptr) return unexpected_end();
    }
    opened.empty = p > name && p[-1] == '/';
    if (opened.empty && p == name_end) --name_end;
    opened.name = {name, static_cast<std::size_t>(name_end - name)};
    const element* found = find_element(opened.name);
    if (found == nullptr) {
        if (opened.name.empty() && !opened.empty)
            return fail("Malformed tag on line " + std::to_string(line()));
        const bool readable = utf16_length(opened.name) >= 0;
        return fail("Encountered unknown tag " + (readable ? std::string(opened.name) : "<unknown>") +
                    " on line " + std::to_string(line()));
    }
    opened.kind = *found;
    at_ = p + 1;
    return true;
}

bool xml_scanner::read_close_tag(element kind) {
    if (end_ - at_ >= 8 && is_whole_tag(load_word(at_), kind)) {
        at_ += name_of(kind).size() + 1;
        return true;
    }
    const string_view name = name_of(kind);
    if (!starts_with(name)) {
        if (static_cast<std::size_t>(end_ - at_) < name.size()) return unexpected_end();
        return fail("Close tag on line " + std::to_string(line()) + " does not match open tag " +
                    std::string(name));
    }
    at_ += name.size();
    skip_blanks();
    if (at_ == end_) return unexpected_end();
    if (*at_ != '>')
        return fail("Encountered unexpected character " + quoted_character() + " on line " +
                    std::to_string(line()) + " while looking for close tag");
    ++at_;
    return true;
}

bool xml_scanner::read_close_tag_opening(element kind) {
    if (!starts_with("</")) {
        if (end_ - at_ < 2) return unexpected_end();
        ++at_;
        return fail("Encountered unexpected character " + quoted_character() + " on line " +
                    std::to_string(line()) + " while looking for close tag");
    }
    at_ += 2;
    return read_close_tag(kind);
}

bool xml_scanner::read_empty_content(element kind) {
    if (!starts_with("</")) return false;
    at_ += 2;
    return read_close_tag(kind);
}

string_view xml_scanner::read_to_markup() {
    const char* begin = at_;
    const void* found = at_ == end_ ? nullptr : std::memchr(at_, '<', static_cast<std::size_t>(end_ - at_));
    at_ = found == nullptr ? end_ : static_cast<const char*>(found);
    return {begin, static_cast<std::size_t>(at_ - begin)};
}

integer_outcome xml_scanner::read_integer(parsed_integer& result) {
    const integer_outcome outcome = parse_integer(at_, end_, result);
    if (outcome != integer_outcome::read) return outcome;
    if (end_ - at_ < 2) return integer_outcome::end_of_text;
    if (at_[1] != '/') {
        ++at_;
        return integer_outcome::bad_character;
    }
    at_ += 2;
    return outcome;
}

bool xml_scanner::read_text(raw_text& text, std::string& scratch) {
    const run first = find_special(at_, end_);
    if (end_ - first.end < 2) return unexpected_end();
    if (first.end[0] == '<' && first.end[1] == '/') {
        text = {{at_, static_cast<std::size_t>(first.end - at_)}, first.ascii};
        at_ = first.end + 2;
        return true;
    }
    scratch.clear();
    if (!read_mixed_text(scratch)) return false;
    text = {scratch, is_ascii(scratch)};
    return true;
}

// Text with entities or CDATA sections in it.
bool xml_scanner::read_mixed_text(std::string& scratch) {
    for (;;) {
        const run plain = find_special(at_, end_);
        scratch.append(at_, plain.end);
        at_ = plain.end;
        if (end_ - at_ < 2) return unexpected_end();
        if (*at_ == '&') {
            ++at_;
            if (!read_entity(scratch)) return false;
        } else if (at_[1] == '!') {
            if (!read_cdata(scratch)) return false;
        } else if (at_[1] == '/') {
            at_ += 2;
            return true;
        } else {
            ++at_;
            return fail("Encountered unexpected character " + quoted_character() + " on line " +
                        std::to_string(line()) + " while looking for close tag");
        }
    }
}

bool xml_scanner::read_entity(std::string& to) {
    struct named {
        string_view name;
        char character;
    };
    static constexpr std::array<named, 5> entities = {
        {{"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"apos;", '\''}, {"quot;", '"'}}};
    for (const named& entity : entities) {
        if (!starts_with(entity.name)) continue;
        to += entity.character;
        at_ += entity.name.size();
        return true;
    }
    if (starts_with("#")) return read_character_reference(to);
    return fail("Encountered unknown ampersand-escape sequence at line " + std::to_string(line()));
}

// "#65;" or "#x41;": at most eight digits, and none at all mean zero.
bool xml_scanner::read_character_reference(std::string& to) {
    const std::string where = " at line " + std::to_string(line()) + " while parsing data";
    ++at_;
    const bool hexadecimal = starts_with("x");
    if (hexadecimal) ++at_;
    constexpr int most_digits = 8;
    std::uint64_t scalar = 0;
    for (int digits = 0; at_ < end_ && *at_ != ';'; ++at_, ++digits) {
        const char c = *at_;
        const char lower = static_cast<char>(c | 0x20);
        unsigned digit = 0;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (hexadecimal && lower >= 'a' && lower <= 'f') {
            digit = static_cast<unsigned>(lower - 'a') + 10;
        } else {
            return fail("Encountered unexpected character " + quoted_character() + where);
        }
        if (digits == most_digits)
            return fail("Encountered unparseable Unicode sequence" + where +
                        " (too large of a value for a Unicode sequence)");
        scalar = scalar * (hexadecimal ? 16 : 10) + digit;
    }
    if (at_ == end_) return unexpected_end();
    ++at_;
    if (scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF))
        return fail("Encountered unparseable Unicode sequence" + where +
                    " (input did not result in a real string)");
    append_utf8(to, static_cast<char32_t>(scalar));
    return true;
}

bool xml_scanner::read_cdata(std::string& to) {
    constexpr string_view opening = "<![CDATA[";
    constexpr string_view closing = "]]>";
    if (!starts_with(opening))
        return fail("Encountered improper CDATA opening at line " + std::to_string(line()));
    const string_view rest(at_, static_cast<std::size_t>(end_ - at_));
    const std::size_t end = rest.find(closing, opening.size());
    if (end == string_view::npos)
        return fail("Could not find end of CDATA started on line " + std::to_string(line()));
    to.append(rest, opening.size(), end - opening.size());
    at_ += end + closing.size();
    return true;
}

} // namespace cf::plist
