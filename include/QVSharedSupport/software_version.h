/// Versions of software: text, and what Windows modules carry in their version resource.
///
///     const auto needed = QV::make_software_version("12.5");
///     const auto found = QV::get_mobile_device_version();
///     if (found == QV::software_version()) ...    // not installed; the log says why
///     if (found < needed) ...
///
/// Nothing here throws. A version that cannot be had is the unknown one, and the logger "System" has a line
/// of level `error` with the cause. Any thread may call anything at any time.
#pragma once

#include <QVSharedSupport/export.h>

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace QV {

/// A version of up to four numbers. The unknown version, {-1, -1, 0, 0}, is what a default one is.
struct software_version {
    std::int64_t major = -1; ///< the first number; -1 when unknown
    std::int64_t minor = -1; ///< the second number; -1 when unknown or not given
    std::int64_t patch = 0;  ///< the third number; 0 when not given
    std::int64_t build = 0;  ///< the fourth number; 0 when not given

    /// Number by number. The unknown version comes before all that have no negative number.
    friend auto operator<=>(const software_version&, const software_version&) noexcept = default;
};

/// Reads a version from the start of `text`: "1.2.3.4", or less of it.
///
/// Numbers are decimal, "-" may precede each; neither blanks nor "+" may. The first thing that is not as it
/// should be, a number beyond 64 bits included, ends the reading, and the remaining fields are as in the
/// unknown version: "1.2beta" is {1, 2, 0, 0}, "beta" is unknown. More than four numbers are not looked at.
[[nodiscard]] QV_EXPORT software_version make_software_version(std::string_view text) noexcept;

/// "major.minor", then ".patch" unless both it and the build are 0, then ".build" unless it is 0. The unknown
/// version is "-1.-1". For want of memory the text is empty.
[[nodiscard]] QV_EXPORT std::string to_string(software_version version) noexcept;

/// The file version of a module that the process has loaded, by its file name or path in the system's code
/// page; of the program itself for a null `name`. Never loads anything. Windows only.
[[nodiscard]] QV_EXPORT software_version get_framework_version(const char* name) noexcept;
/// The same; the name ends at its first NUL.
[[nodiscard]] QV_EXPORT software_version get_framework_version(std::string_view name) noexcept;

/// The file version of Apple's "MobileDevice.dll" in the folder of Apple's mobile device runtime.
///
/// The file is only mapped: none of its code runs, and it may be one for another processor. Reads the disk.
/// Windows only.
[[nodiscard]] QV_EXPORT software_version get_mobile_device_version() noexcept;

} // namespace QV
