#include "test_data.h"

#include "../helpers/test_folders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace qv_test {

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_of(const fs::path& folder) {
    std::vector<fs::path> files;
    if (!fs::is_directory(folder)) return files;
    for (const auto& entry : fs::directory_iterator(folder))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

std::vector<fs::path> data_folders() {
    std::vector<fs::path> folders{test::own_data()};
    if (auto collection = test::collected_data()) folders.push_back(*std::move(collection));
    return folders;
}

std::string read_file(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

void for_each_file(const std::string& folder,
                   const std::function<void(const std::string& name, const std::string& bytes)>& check) {
    for (const fs::path& data : data_folders()) {
        const auto files = files_of(data / folder);
        EXPECT_FALSE(data == test::own_data() && files.empty()) << folder;
        for (const fs::path& file : files)
            check(file.filename().string(), read_file(file));
        std::cout << folder << ": " << files.size() << " files\n";
    }
}

void for_each_line(const std::string& file, const std::function<void(const std::string& line)>& check,
                   bool may_be_missing) {
    for (const fs::path& data : data_folders()) {
        if (!fs::exists(data / file) && (may_be_missing || data != test::own_data())) continue;
        std::istringstream lines(read_file(data / file));
        int count = 0;
        for (std::string line; std::getline(lines, line);) {
            if (line.empty()) continue;
            ++count;
            check(line);
        }
        EXPECT_GT(count, 0) << file;
        std::cout << file << ": " << count << " lines\n";
    }
}

} // namespace qv_test
