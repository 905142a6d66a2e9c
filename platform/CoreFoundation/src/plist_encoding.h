// Finding out in which encoding a textual property list is, and turning it into UTF-8.
#ifndef COREFOUNDATION_SRC_PLIST_ENCODING_H
#define COREFOUNDATION_SRC_PLIST_ENCODING_H

#include <string>
#include <string_view>

namespace cf::plist {

/// A text in UTF-8: the bytes handed in, less their byte order mark, or `converted`.
struct utf8_text {
    std::string_view text;
    std::string converted;
    std::string problem;           ///< Why there is no text; empty if there is one.
    bool unknown_encoding = false; ///< The problem is the name of the encoding.
};

/// Fills `result` from the bytes of a list.
///
/// A byte order mark of UTF-8, UTF-16 or UTF-32 decides; else the encoding that an XML declaration at the
/// very beginning names; else it is UTF-8, which is not checked here: the readers check what they use. Text
/// without a mark whose first two bytes hold a zero is UTF-16, whose first unit is lost: nobody should rely
/// on that.
void find_text(std::string_view bytes, utf8_text& result);

} // namespace cf::plist

#endif
