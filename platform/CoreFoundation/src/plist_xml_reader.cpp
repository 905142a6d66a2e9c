#include "plist_xml_reader.h"

#include "archiver_uid.h"
#include "containers.h"
#include "number_storage.h"
#include "plist_base64.h"
#include "plist_calendar.h"
#include "plist_numbers.h"
#include "plist_text.h"
#include "plist_xml_scanner.h"

#include <CoreFoundation/CFDate.h>

#include <limits>

namespace cf::plist {

namespace {

using std::string_view;

/// The value of a list, read without recursion: open elements lie on a stack of our own.
class xml_reader {
public:
    xml_reader(CFAllocatorRef allocator, string_view text, mutability mutable_parts)
        : allocator_(allocator), mutable_(mutable_parts), scanner_(text),
          strings_(allocator, mutable_parts.leaves, text.size()) {}

    CFTypeRef read();
    std::string take_problem() { return std::move(scanner_.problem()); }

private:
    struct frame {
        element kind;
        bool has_key;            ///< Of a dictionary: a key waits for its value.
        std::size_t first_value; ///< Where the element's values begin.
        std::size_t first_key;   ///< Where a dictionary's keys begin.
    };
    using reference = owned<CFTypeRef>;

    std::string on_line() const { return " on line " + std::to_string(scanner_.line()); }
    std::string at_line() const { return " at line " + std::to_string(scanner_.line()); }
    reference fail(std::string problem) {
        scanner_.fail(std::move(problem));
        return {};
    }

    bool open(const tag& opened);
    bool add(reference value, bool is_key);
    bool read_children(reference value, bool is_key, reference& root);
    reference close();
    reference make_dictionary(const frame& closed);
    reference make_uid(CFTypeRef number);

    reference read_leaf(const tag& opened);
    reference read_string(const tag& opened);
    reference read_integer(const tag& opened);
    reference read_real(const tag& opened);
    reference read_date(const tag& opened);
    reference read_data(const tag& opened);
    reference read_boolean(const tag& opened);
    reference make_empty(const tag& opened);

    CFAllocatorRef allocator_;
    mutability mutable_;
    xml_scanner scanner_;
    string_maker strings_;
    std::size_t depth_ = 0; ///< Open arrays and dictionaries.
    std::vector<frame> frames_;
    reference_stack values_;
    reference_stack keys_;
    std::string scratch_;
    std::vector<std::uint8_t> bytes_;
};

CFTypeRef xml_reader::read() {
    if (!scanner_.find_root()) return nullptr;
    for (;;) {
        tag opened;
        if (!scanner_.read_open_tag(opened)) return nullptr;
        reference value;
        if (opened.is_container() && !opened.empty) {
            if (!open(opened)) return nullptr;
        } else {
            value = opened.empty ? make_empty(opened) : read_leaf(opened);
            if (!value) return nullptr;
        }
        reference root;
        if (!read_children(std::move(value), opened.kind == element::key, root)) return nullptr;
        if (root) return root.detach();
    }
}

bool xml_reader::open(const tag& opened) {
    if (opened.kind != element::plist && ++depth_ > deepest_nesting)
        return scanner_.fail("Too many nested arrays or dictionaries, failing" + on_line());
    frames_.push_back({opened.kind, false, values_.size(), keys_.size()});
    return true;
}

// Puts a value where it belongs and closes elements until another one opens in the innermost: then the
// scanner stands behind its '<'. A value outside all elements is the root.
bool xml_reader::read_children(reference value, bool is_key, reference& root) {
    for (;;) {
        if (value) {
            if (frames_.empty()) {
                root = std::move(value);
                return true;
            }
            if (!add(std::move(value), is_key)) return false;
        }
        switch (scanner_.next_markup()) {
        case markup::element:
            return true;
        case markup::close_tag:
            value = close();
            if (!value) return false;
            is_key = false;
            break;
        case markup::none:
            return false;
        }
    }
}

bool xml_reader::add(reference value, bool is_key) {
    frame& parent = frames_.back();
    if (parent.kind == element::dict && !parent.has_key) {
        if (!is_key) return scanner_.fail("Found non-key inside <dict>" + at_line());
        parent.has_key = true;
        keys_.push(value.detach());
        return true;
    }
    if (parent.kind == element::plist && values_.size() > parent.first_value)
        return scanner_.fail("Encountered unexpected element" + at_line() +
                             " (plist can only include one object)");
    parent.has_key = false;
    values_.push(value.detach());
    return true;
}

// Behind the "</" of the innermost element.
xml_reader::reference xml_reader::close() {
    const frame closed = frames_.back();
    if (closed.kind == element::dict && closed.has_key)
        return fail("Value missing for key inside <dict>" + at_line());
    const std::span<const CFTypeRef> values = values_.since(closed.first_value);
    if (closed.kind == element::plist && values.empty()) return fail("Encountered empty plist tag");
    if (!scanner_.read_close_tag(closed.kind)) return {};

    reference value;
    if (closed.kind == element::plist) {
        value = reference(values[0]);
    } else if (values.empty()) {
        value = make_empty({closed.kind, true, {}});
    } else if (closed.kind == element::array) {
        value = reference(need(create_array_adopting(allocator_, values, true)));
    } else {
        value = make_dictionary(closed);
    }
    values_.forget(closed.first_value);
    frames_.pop_back();
    if (closed.kind != element::plist) --depth_;
    return value;
}

// Non-empty containers are mutable whatever was asked for, as callers have come to expect of XML.
xml_reader::reference xml_reader::make_dictionary(const frame& closed) {
    const CFDictionaryRef made =
        need(create_dictionary_adopting(allocator_, keys_.since(closed.first_key),
                                        values_.since(closed.first_value), true, repeated_keys::last_wins));
    keys_.forget(closed.first_key);
    values_.forget(closed.first_value);
    reference value(made);
    if (made->count != 1) return value;
    const entry& only = made->entries[0];
    constexpr string_view uid_key = "CF$UID";
    const text_view key = view(static_cast<CFStringRef>(only.key));
    if (!is(only.value, type::number) || key.wide || key.narrow() != uid_key) return value;
    return make_uid(only.value);
}

// A dictionary of nothing but a number under "CF$UID" stands for a reference of a keyed archive: the low 32
// bits of the number, whatever it is.
xml_reader::reference xml_reader::make_uid(CFTypeRef number) {
    std::int32_t low = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt32Type, &low);
    return reference(need(create_archiver_uid(allocator_, static_cast<std::uint32_t>(low))));
}

xml_reader::reference xml_reader::make_empty(const tag& opened) {
    switch (opened.kind) {
    case element::plist:
        return fail("Encountered empty plist tag");
    case element::array:
        return reference(need(create_array_adopting(allocator_, {}, mutable_.containers)));
    case element::dict:
        return reference(need(
            create_dictionary_adopting(allocator_, {}, {}, mutable_.containers, repeated_keys::last_wins)));
    case element::key:
    case element::string:
        return reference(strings_.make_empty());
    case element::true_:
        return reference(kCFBooleanTrue);
    case element::false_:
        return reference(kCFBooleanFalse);
    default:
        return fail("Encountered empty <" + std::string(name_of(opened.kind)) + ">" + on_line());
    }
}

xml_reader::reference xml_reader::read_leaf(const tag& opened) {
    switch (opened.kind) {
    case element::key:
    case element::string:
        return read_string(opened);
    case element::integer:
        return read_integer(opened);
    case element::real:
        return read_real(opened);
    case element::date:
        return read_date(opened);
    case element::data:
        return read_data(opened);
    default:
        return read_boolean(opened);
    }
}

xml_reader::reference xml_reader::read_string(const tag& opened) {
    raw_text text;
    if (!scanner_.read_text(text, scratch_) || !scanner_.read_close_tag(opened.kind)) return {};
    const CFStringRef made = strings_.make(text.bytes, text.ascii);
    if (made == nullptr) return fail("Unable to convert string to correct encoding");
    return reference(made);
}

xml_reader::reference xml_reader::read_integer(const tag& opened) {
    parsed_integer parsed;
    const integer_outcome outcome = scanner_.read_integer(parsed);
    switch (outcome) {
    case integer_outcome::read:
        break;
    case integer_outcome::end_of_text:
        return fail("Premature end of file after <integer>" + on_line());
    case integer_outcome::empty:
        return fail("Encountered empty <integer>" + on_line());
    case integer_outcome::incomplete:
        return fail("Incomplete <integer>" + on_line());
    case integer_outcome::bad_character:
        return fail("Unknown character " + scanner_.quoted_character() + " in <integer>" + on_line());
    case integer_outcome::hex_digit:
        return fail("Hex digit in non-hex <integer>" + on_line());
    case integer_outcome::overflow:
        return fail("Integer overflow in <integer>" + on_line());
    case integer_outcome::underflow:
        return fail("Integer underflow in <integer>" + on_line());
    }
    if (!scanner_.read_close_tag(opened.kind)) return {};
    const std::uint64_t magnitude = parsed.magnitude;
    if (magnitude == 0) return reference(need(create_integer(allocator_, 0, kCFNumberSInt32Type)));
    if (!parsed.negative && magnitude > std::uint64_t{std::numeric_limits<std::int64_t>::max()})
        return reference(need(create_int128(allocator_, {0, magnitude})));
    const auto value = static_cast<std::int64_t>(parsed.negative ? 0 - magnitude : magnitude);
    return reference(need(create_integer(allocator_, value)));
}

xml_reader::reference xml_reader::read_real(const tag& opened) {
    raw_text text;
    if (!scanner_.read_text(text, scratch_)) return {};
    const std::optional<double> value = parse_real(text.bytes);
    if (!value) return fail("Encountered misformatted real" + on_line());
    if (!scanner_.read_close_tag(opened.kind)) return {};
    return reference(need(create_double(allocator_, *value)));
}

xml_reader::reference xml_reader::read_date(const tag& opened) {
    const std::optional<CFAbsoluteTime> value = parse_date(scanner_.read_to_markup());
    if (!value) return fail("Could not interpret <date>" + at_line());
    if (!scanner_.read_close_tag_opening(opened.kind)) return {};
    return reference(need(CFDateCreate(allocator_, *value)));
}

xml_reader::reference xml_reader::read_data(const tag& opened) {
    if (!decode_base64(scanner_.read_to_markup(), bytes_))
        return fail("Could not interpret <data>" + at_line() + " (should be base64-encoded)");
    if (!scanner_.read_close_tag_opening(opened.kind)) return {};
    return reference(need(create_data(allocator_, bytes_, mutable_.leaves)));
}

xml_reader::reference xml_reader::read_boolean(const tag& opened) {
    if (!scanner_.read_empty_content(opened.kind))
        return fail("Encountered non-empty <" + std::string(name_of(opened.kind)) + ">" + on_line());
    return reference(opened.kind == element::true_ ? kCFBooleanTrue : kCFBooleanFalse);
}

} // namespace

CFTypeRef read_xml(CFAllocatorRef allocator, string_view text, mutability mutable_parts,
                   std::string& problem) {
    xml_reader reader(allocator, text, mutable_parts);
    const CFTypeRef value = reader.read();
    if (value == nullptr) problem = reader.take_problem();
    return value;
}

} // namespace cf::plist
