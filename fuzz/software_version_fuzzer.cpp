// Reads versions from arbitrary texts; what was read is written, and must then be read as the same.
#include <QVSharedSupport/software_version.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    // In memory of its own, so that a read past the end shows.
    const std::string text(bytes, bytes + size);
    const QV::software_version version = QV::make_software_version(text);
    const std::string written = QV::to_string(version);
    if (written.empty() || QV::make_software_version(written) != version) std::abort();
    // What follows a fourth number is not looked at, nor is what follows a number without a dot.
    if (QV::make_software_version(written + "x") != version) std::abort();
    return 0;
}
