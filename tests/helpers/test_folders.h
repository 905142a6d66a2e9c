#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace test {

/// The folder tests/ of the checkout: QV_TEST_SOURCE_DIR, which the test runner sets.
inline std::filesystem::path source_folder() {
    const char* const named = std::getenv("QV_TEST_SOURCE_DIR");
    return named == nullptr ? "tests" : named;
}

/// The data that comes with the project.
inline std::filesystem::path own_data() {
    return source_folder() / "data";
}

/// The full collection, of which the project's own data is a part: the folder that QV_TEST_DATA names, or
/// shared/data beside the checkout. It is not part of the project; its absence is no failure.
inline std::optional<std::filesystem::path> collected_data() {
    const char* const named = std::getenv("QV_TEST_DATA");
    const std::filesystem::path folder =
        named != nullptr ? std::filesystem::path(named) : source_folder() / ".." / ".." / "shared" / "data";
    if (!std::filesystem::is_directory(folder)) return std::nullopt;
    return folder;
}

} // namespace test
