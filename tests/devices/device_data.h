#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

/// Where the tests find tables of devices.
namespace device_data {

/// The folder "tests" of the checkout.
inline std::filesystem::path source_folder() {
    const char* const folder = std::getenv("QV_TEST_SOURCE_DIR");
    return folder == nullptr ? "tests" : folder;
}

/// A table that comes with the project.
inline std::filesystem::path own(const std::string& name) {
    return source_folder() / "data" / "usb" / name;
}

/// A file of the full collection, if that is here.
inline std::optional<std::filesystem::path> collected(const std::string& name) {
    const char* const folder = std::getenv("QV_TEST_DATA");
    const std::filesystem::path root =
        folder != nullptr ? std::filesystem::path(folder) : source_folder() / ".." / ".." / "shared" / "data";
    std::filesystem::path path = root / name;
    if (!std::filesystem::exists(path)) return std::nullopt;
    return path;
}

/// The bytes of a file.
inline std::string read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace device_data
