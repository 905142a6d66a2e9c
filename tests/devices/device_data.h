#pragma once

#include "../helpers/test_folders.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

/// Where the tests find tables of devices.
namespace device_data {

/// A table that comes with the project.
inline std::filesystem::path own(const std::string& name) {
    return test::own_data() / "usb" / name;
}

/// A file of the full collection, if that is here.
inline std::optional<std::filesystem::path> collected(const std::string& name) {
    const auto collection = test::collected_data();
    if (!collection || !std::filesystem::exists(*collection / name)) return std::nullopt;
    return *collection / name;
}

/// The bytes of a file.
inline std::string read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace device_data
