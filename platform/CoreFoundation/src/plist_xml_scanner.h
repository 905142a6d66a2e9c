// The markup of XML property lists: tags, comments, processing instructions and character data, with no idea
// of what they mean.
#ifndef COREFOUNDATION_SRC_PLIST_XML_SCANNER_H
#define COREFOUNDATION_SRC_PLIST_XML_SCANNER_H

#include "plist_numbers.h"
#include "plist_text.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace cf::plist {

/// The elements of a property list.
enum class element : std::uint8_t {
    plist,
    array,
    dict,
    key,
    string,
    data,
    date,
    real,
    integer,
    true_,
    false_
};

/// What a tag is called.
std::string_view name_of(element kind);

/// An opening tag.
struct tag {
    element kind = element::plist;
    bool empty = false; ///< Closed by its own "/>".
    std::string_view name;

    bool is_container() const {
        return kind == element::plist || kind == element::array || kind == element::dict;
    }
};

/// What comes next between elements.
enum class markup { element, close_tag, none };

/// Character data, entities resolved: a part of the list, or the caller's scratch string.
struct raw_text {
    std::string_view bytes;
    bool ascii = true;
};

/// A position in the text of a list. What fails sets problem() and returns false.
class xml_scanner {
public:
    explicit xml_scanner(std::string_view text)
        : begin_(text.data()), at_(begin_), end_(begin_ + text.size()) {}

    std::string& problem() { return problem_; }
    /// Records why the list is refused, unless a reason is known already. Returns false.
    bool fail(std::string problem);
    /// The number of the line that the position lies in.
    std::size_t line() const { return line_number(begin_, at_); }
    /// The character at the position and its code, for messages.
    std::string quoted_character() const;

    /// Moves behind the '<' of the first element.
    bool find_root();
    /// Reads an opening tag from behind its '<'.
    bool read_open_tag(tag& opened);
    /// Moves behind the '<' of the next element or the "</" of the next closing tag.
    markup next_markup();
    /// Reads the rest of a closing tag from behind its "</".
    bool read_close_tag(element kind);
    /// Reads a whole closing tag.
    bool read_close_tag_opening(element kind);
    /// Whether a closing tag follows at once, which is then read.
    bool read_empty_content(element kind);
    /// Reads character data, with its entities and CDATA sections, and the "</" behind it.
    bool read_text(raw_text& text, std::string& scratch);
    /// What lies before the next '<', or the rest of the text.
    std::string_view read_to_markup();
    /// Reads the number of an <integer> and the "</" behind it.
    integer_outcome read_integer(parsed_integer& result);

private:
    bool unexpected_end() { return fail("Encountered unexpected EOF"); }
    bool starts_with(std::string_view text) const {
        return std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(text);
    }
    void skip_blanks();
    bool read_any_open_tag(tag& opened);
    bool skip_comment(std::size_t shortest);
    bool skip_processing_instruction();
    bool skip_document_type();
    bool read_mixed_text(std::string& scratch);
    bool read_entity(std::string& to);
    bool read_character_reference(std::string& to);
    bool read_cdata(std::string& to);

    const char* begin_;
    const char* at_;
    const char* end_;
    std::string problem_;
};

} // namespace cf::plist

#endif
