#include "version_module.h"

namespace test {
namespace {

/// Bytes in the order that Windows has them.
class byte_writer {
public:
    void u16(std::uint32_t value) {
        for (int shift = 0; shift != 16; shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    void u32(std::uint32_t value) {
        u16(value & 0xFFFF);
        u16(value >> 16);
    }
    void zeros(std::size_t count) { bytes.insert(bytes.end(), count, std::uint8_t{0}); }
    void pad_to(std::size_t size) { zeros(size - bytes.size()); }

    std::vector<std::uint8_t> bytes;
};

constexpr std::uint32_t file_alignment = 0x200;
constexpr std::uint32_t section_address = 0x1000;
constexpr std::uint32_t tables_size = 88; // three folders of one entry each, and where the resource lies

std::vector<std::uint8_t> make_resource(std::uint32_t high, std::uint32_t low) {
    constexpr std::uint32_t value_size = 13 * 4;
    byte_writer out;
    out.u16(40 + value_size);
    out.u16(value_size);
    out.u16(0); // a binary value
    for (const char letter : std::string("VS_VERSION_INFO"))
        out.u16(static_cast<std::uint8_t>(letter));
    out.u16(0);
    out.pad_to(40);
    out.u32(0xFEEF04BD);
    out.u32(0x00010000);
    out.u32(high);
    out.u32(low);
    // The product's version, which is another matter.
    out.u32(0x7FFF7FFE);
    out.u32(0x7FFD7FFC);
    out.pad_to(40 + value_size);
    return out.bytes;
}

void folder_of_one(byte_writer& out, std::uint32_t id, std::uint32_t offset) {
    out.zeros(12);
    out.u16(0); // entries with names
    out.u16(1); // entries with numbers
    out.u32(id);
    out.u32(offset);
}

} // namespace

version_module::version_module(processor machine_, std::uint16_t major, std::uint16_t minor,
                               std::uint16_t patch, std::uint16_t build)
    : machine(machine_),
      resource(make_resource(std::uint32_t{major} << 16 | minor, std::uint32_t{patch} << 16 | build)),
      claimed_resource_size(static_cast<std::uint32_t>(resource.size())),
      claimed_resource_address(section_address + tables_size) {}

std::string version_module::bytes() const {
    constexpr std::uint32_t deeper = 0x80000000;
    byte_writer section;
    folder_of_one(section, resource_type, deeper | 24);
    folder_of_one(section, resource_name, deeper | 48);
    folder_of_one(section, 0x409, 72);
    section.u32(claimed_resource_address);
    section.u32(claimed_resource_size);
    section.u32(0);
    section.u32(0);
    section.bytes.insert(section.bytes.end(), resource.begin(), resource.end());
    const auto used = static_cast<std::uint32_t>(section.bytes.size());
    section.pad_to((used + file_alignment - 1) / file_alignment * file_alignment);
    const auto stored = static_cast<std::uint32_t>(section.bytes.size());
    const std::uint32_t mapped = (used + 0xFFF) / 0x1000 * 0x1000;

    const bool is_wide = machine == processor::amd64 || machine == processor::arm64;
    byte_writer out;
    out.u16(0x5A4D); // "MZ"
    out.pad_to(60);
    out.u32(64);
    out.u32(0x00004550); // "PE"
    out.u16(static_cast<std::uint32_t>(machine));
    out.u16(1); // sections
    out.zeros(12);
    out.u16(is_wide ? 240 : 224);
    out.u16(is_wide ? 0x2022 : 0x2102); // an executable image, a DLL
    const std::size_t optional = out.bytes.size();
    out.u16(is_wide ? 0x20B : 0x10B);
    out.u16(0);
    out.u32(0);
    out.u32(stored);
    out.u32(0);
    out.u32(0); // no code to begin with
    out.u32(section_address);
    if (is_wide) {
        out.u32(0x80000000);
        out.u32(1);
    } else {
        out.u32(section_address);
        out.u32(0x10000000);
    }
    out.u32(0x1000);
    out.u32(file_alignment);
    for (int version = 0; version != 3; ++version) {
        out.u16(6); // of the system, of the image, of the subsystem
        out.u16(0);
    }
    out.u32(0);
    out.u32(section_address + mapped);
    out.u32(file_alignment); // the headers
    out.u32(0);
    out.u16(3);     // a console program's subsystem
    out.u16(0x540); // may lie anywhere, runs no data
    for (int limit = 0; limit != 4; ++limit) {
        out.u32(0x1000);
        if (is_wide) out.u32(0);
    }
    out.u32(0);
    out.u32(16);
    out.zeros(16); // exports and imports
    out.u32(has_resource_table ? section_address : 0);
    out.u32(has_resource_table ? used : 0);
    out.pad_to(optional + (is_wide ? 240 : 224));
    for (const char letter : std::string(".rsrc\0\0\0", 8))
        out.bytes.push_back(static_cast<std::uint8_t>(letter));
    out.u32(used);
    out.u32(section_address);
    out.u32(stored);
    out.u32(file_alignment);
    out.zeros(12);
    out.u32(0x40000040); // data that may be read
    out.pad_to(file_alignment);
    return std::string(out.bytes.begin(), out.bytes.end()) +
           std::string(section.bytes.begin(), section.bytes.end());
}

} // namespace test
