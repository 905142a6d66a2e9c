#include <QVSharedSupport/software_version.h>

#include <fmt/format.h>

#include <charconv>
#include <system_error>

namespace QV {

software_version make_software_version(std::string_view text) noexcept {
    software_version version;
    const char* next = text.data();
    const char* const end = next + text.size();
    for (std::int64_t* const field : {&version.major, &version.minor, &version.patch, &version.build}) {
        const auto [stop, error] = std::from_chars(next, end, *field);
        if (error != std::errc() || stop == end || *stop != '.') break;
        next = stop + 1;
    }
    return version;
}

std::string to_string(software_version version) noexcept {
    try {
        std::string text = fmt::format("{}.{}", version.major, version.minor);
        if (version.patch != 0 || version.build != 0) text = fmt::format("{}.{}", text, version.patch);
        if (version.build != 0) text = fmt::format("{}.{}", text, version.build);
        return text;
    } catch (...) {
        // Only want of memory can bring it here, and callers count on a text, not an exception.
        return std::string();
    }
}

} // namespace QV
