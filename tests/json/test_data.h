// The files that the JSON tests read: those of tests/data, and the full collection where it lies beside the
// checkout.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace qv_test {

/// The folders that hold data: tests/data, and the folder named by QV_TEST_DATA or ../shared/data if it
/// exists.
std::vector<std::filesystem::path> data_folders();

/// The bytes of a file; fails the running test if there is none.
std::string read_file(const std::filesystem::path& path);

/// Calls `check` with the name and the bytes of every file of `folder` ("json/roundtrip") in each data
/// folder, and says how many there were. Fails the running test if tests/data has none.
void for_each_file(const std::string& folder,
                   const std::function<void(const std::string& name, const std::string& bytes)>& check);

/// The same for every line of a file ("jsonrpc/ethereum_tests.ndjson"), wherever the file exists. Fails the
/// running test if it does not exist in tests/data, unless it `may_be_missing` there.
void for_each_line(const std::string& file, const std::function<void(const std::string& line)>& check,
                   bool may_be_missing = false);

} // namespace qv_test
