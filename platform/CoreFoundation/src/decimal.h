// Reals as decimal text, the same in every locale and on every C runtime.
#ifndef COREFOUNDATION_SRC_DECIMAL_H
#define COREFOUNDATION_SRC_DECIMAL_H

#include <string>
#include <string_view>

namespace cf {

/// The real that a text of digits, at most one point and an exponent stands for, correctly rounded: infinity
/// when it is too large, zero when it is too small or no number.
double parse_decimal(std::string_view text);

/// A finite real as printf's %.17g writes it: enough digits to read the same value back. "0.0" for both
/// zeros; "nan", "+infinity" and "-infinity" for the rest.
/// @throws std::bad_alloc
std::string format_decimal(double value);

} // namespace cf

#endif
