#pragma once

#include <QVMath/export.h>

#include <cstddef>
#include <span>
#include <string>

namespace QV {

/// The base-16 digit of a nibble: '0' to '9', then 'a' to 'f'. Any thread may call it.
/// @throws std::invalid_argument "A base-16 digit stands for 0 to 15" for another value.
QVMATH_EXPORT char b16_encode(unsigned int nibble);

/// Two digits a byte, the high nibble first: the bytes 0x1A 0x00 read "1a00". Any thread may call it.
/// @throws std::bad_alloc; std::length_error for more bytes than fit a text.
QVMATH_EXPORT std::string b16_encode(std::span<const std::byte> bytes);

} // namespace QV
