// Replays the seeds of the property-list fuzzers, and every input that ever crashed one.
#include "../../fuzz/plist_round_trip.h"
#include "plist_cases.h"

#include <gtest/gtest.h>

#include <iostream>

namespace {

int replay(const std::filesystem::path& folder, fuzz::readers which) {
    if (!std::filesystem::exists(folder)) return 0;
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string bytes = plist_cases::read_file(entry.path());
        fuzz::check_plist(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), which);
        fuzz::check_plist(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(),
                          fuzz::readers::all);
        ++count;
    }
    return count;
}

void replay_target(const std::string& name, fuzz::readers which) {
    const std::filesystem::path fuzz_folder = plist_cases::data_folder() / ".." / ".." / "fuzz";
    const int seeds = replay(fuzz_folder / "corpus" / name, which);
    const int crashes = replay(fuzz_folder / "regressions" / name, which);
    EXPECT_GT(seeds, 0) << name;
    std::cout << name << ": " << seeds << " seeds, " << crashes << " inputs that once crashed it\n";
}

TEST(PlistFuzzers, ReplayXml) {
    replay_target("plist_xml_fuzzer", fuzz::readers::xml);
}

TEST(PlistFuzzers, ReplayOldStyle) {
    replay_target("plist_oldstyle_fuzzer", fuzz::readers::oldstyle);
}

TEST(PlistFuzzers, ReplayBinary) {
    replay_target("plist_binary_fuzzer", fuzz::readers::binary);
}

} // namespace
