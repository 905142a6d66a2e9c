// SHA-256 of a text, for comparing with recorded sums.
#ifndef TESTS_COREFOUNDATION_PLIST_SHA256_H
#define TESTS_COREFOUNDATION_PLIST_SHA256_H

#include <string>
#include <string_view>

/// The sum in lower-case hexadecimal.
std::string sha256(std::string_view bytes);

#endif
