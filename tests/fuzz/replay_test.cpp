// Gives a fuzz target its seeds, and every input that ever crashed it; a target ends the process where
// something does not hold.
#include "../helpers/test_folders.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

int replay(const std::filesystem::path& folder) {
    if (!std::filesystem::exists(folder)) return 0;
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        EXPECT_TRUE(file) << entry.path();
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    return count;
}

TEST(fuzz_target, takes_its_seeds_and_what_once_crashed_it) {
    const std::filesystem::path fuzz = test::source_folder() / ".." / "fuzz";
    const int seeds = replay(fuzz / "corpus" / QV_FUZZ_TARGET);
    const int crashes = replay(fuzz / "regressions" / QV_FUZZ_TARGET);
    EXPECT_GT(seeds, 0);
    std::cout << seeds << " seeds, " << crashes << " inputs that once crashed it\n";
}

} // namespace
