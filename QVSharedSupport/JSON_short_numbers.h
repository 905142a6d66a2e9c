#pragma once

#include <string>

namespace QV::SharedSupport::JSON {

/// Whether the text may have numbers that RapidJSON cannot read: it adds a number's exponent to its places
/// after the point in an `int`, and both may be of any length.
bool may_have_long_numbers(const std::string& text);

/// The same text with those numbers written shorter, and all of them read as they would be without an
/// overflow. What is not JSON stays so, at the same place.
std::string with_short_numbers(const std::string& text);

} // namespace QV::SharedSupport::JSON
