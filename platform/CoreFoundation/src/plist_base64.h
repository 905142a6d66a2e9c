// Base64 as property lists use it.
#ifndef COREFOUNDATION_SRC_PLIST_BASE64_H
#define COREFOUNDATION_SRC_PLIST_BASE64_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace cf::plist {

/// Decodes `text` into `bytes`, replacing what it held. False if a byte is not ASCII.
///
/// Characters outside the alphabet are skipped. Only complete groups of four characters count, '=' being one
/// of them: a group that ends in one '=' gives two bytes, in more gives one. What follows a padded group is
/// decoded as well.
bool decode_base64(std::string_view text, std::vector<std::uint8_t>& bytes);

/// Writes `size` bytes as base64 at `to`, which has room for 4 characters per 3 bytes begun, and returns the
/// end.
char* encode_base64(const std::uint8_t* bytes, std::size_t size, char* to);

} // namespace cf::plist

#endif
