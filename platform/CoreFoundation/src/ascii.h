// Characters of ASCII, whatever unit they come in.
#ifndef COREFOUNDATION_SRC_ASCII_H
#define COREFOUNDATION_SRC_ASCII_H

namespace cf {

template <typename Unit>
constexpr bool is_digit(Unit unit) {
    return unit >= '0' && unit <= '9';
}

/// The value of a hexadecimal digit in either case; -1 for anything else.
template <typename Unit>
constexpr int hex_value(Unit unit) {
    if (is_digit(unit)) return unit - '0';
    if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
    if (unit >= 'A' && unit <= 'F') return unit - 'A' + 10;
    return -1;
}

} // namespace cf

#endif
