#include "windows_text.h"

#include <climits>
#include <stdexcept>

#include <windows.h>

namespace QV::windows_text {

std::wstring to_wide(std::string_view utf8) {
    if (utf8.empty()) return {};
    // The system counts in int; UTF-16 never has more units than UTF-8 has bytes.
    if (utf8.size() > INT_MAX) throw std::length_error("The text is too long to convert to UTF-16");
    const int bytes = static_cast<int>(utf8.size());
    const int units = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), units);
    return wide;
}

std::string to_utf8(std::wstring_view wide) {
    if (wide.empty()) return {};
    // One unit becomes up to three bytes, and the answer must fit an int as well.
    if (wide.size() > INT_MAX / 3) throw std::length_error("The text is too long to convert to UTF-8");
    const int units = static_cast<int>(wide.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(), bytes, nullptr, nullptr);
    return utf8;
}

} // namespace QV::windows_text
