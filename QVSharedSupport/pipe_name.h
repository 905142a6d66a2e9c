#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace QV::pipe {

/// A new pipe name: "\\.\pipe\" and 12 characters of `0123456789abcdefghijklmnopqrstuvw`.
///
/// The alphabet has 33 symbols, not 32: names in the field have this form, and it stays.
/// @param draw gives a uniformly distributed 32-bit number at each call. A draw that would favour some
///     characters is rejected and repeated, so every name is equally likely.
std::wstring make_pipe_name(const std::function<std::uint32_t()>& draw);

} // namespace QV::pipe
