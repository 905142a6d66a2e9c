#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace test {

/// The processors that a module can be for, with their numbers in a module's header.
enum class processor : std::uint16_t { i386 = 0x014C, arm = 0x01C4, amd64 = 0x8664, arm64 = 0xAA64 };

/// A Windows DLL with a version resource and nothing else, as the bytes of its file. What is changed before
/// `bytes()` is called makes a broken one.
struct version_module {
    /// Of that file version.
    version_module(processor machine, std::uint16_t major, std::uint16_t minor, std::uint16_t patch,
                   std::uint16_t build);

    std::string bytes() const;

    processor machine;
    std::uint16_t resource_type = 16;       ///< the type of version resources
    std::uint16_t resource_name = 1;        ///< the one that every module with a version has
    std::vector<std::uint8_t> resource;     ///< the resource itself
    std::uint32_t claimed_resource_size;    ///< how long the resource table says it is
    std::uint32_t claimed_resource_address; ///< where the resource table says it is, once mapped
    bool has_resource_table = true;
};

} // namespace test
