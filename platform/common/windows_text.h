#pragma once

#include <string>
#include <string_view>

/// UTF-8 and UTF-16 as the platform libraries need them for Windows calls; compiled into each library that
/// uses it.
///
/// Malformed input never fails: each bad sequence becomes U+FFFD, because what passes here (system messages,
/// log lines, paths from the registry) must come out even when part of it is damaged.
namespace QV::windows_text {

/// @throws std::bad_alloc; std::length_error for a text of 2 GiB and more.
std::wstring to_wide(std::string_view utf8);

/// @throws std::bad_alloc; std::length_error for a text of 1 Gi units and more.
std::string to_utf8(std::wstring_view wide);

} // namespace QV::windows_text
