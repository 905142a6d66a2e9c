// Whole files held to what is recorded of them in tests/data/vectors/files.tsv: whether they are taken, as
// which format, and the sum of the XML written from what was read.
#include "../helpers/test_folders.h"
#include "plist_cases.h"
#include "plist_sha256.h"

#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <sstream>

namespace {

using plist_cases::object;
using plist_cases::owned;

/// A line of files.tsv.
struct row {
    std::string path;
    bool accepted = false;
    std::string format;
    std::string sum; ///< "-" if the value cannot be written.
};

std::vector<row> read_rows() {
    std::istringstream lines(plist_cases::read_file(plist_cases::data_folder() / "vectors" / "files.tsv"));
    std::vector<row> rows;
    std::string line;
    std::getline(lines, line); // The headings.
    while (std::getline(lines, line)) {
        std::istringstream columns(line);
        row one;
        std::string accepted;
        std::string size;
        std::getline(columns, one.path, '\t');
        std::getline(columns, accepted, '\t');
        std::getline(columns, one.format, '\t');
        std::getline(columns, size, '\t');
        std::getline(columns, one.sum, '\t');
        one.accepted = accepted == "yes";
        rows.push_back(one);
    }
    return rows;
}

std::string name_of(CFPropertyListFormat format) {
    switch (format) {
    case kCFPropertyListOpenStepFormat:
        return "openstep";
    case kCFPropertyListXMLFormat_v1_0:
        return "xml";
    default:
        return "binary";
    }
}

void check(const row& expected, const std::string& bytes) {
    const auto data = plist_cases::make_data(bytes);
    CFPropertyListFormat format = 0;
    CFErrorRef raw_error = nullptr;
    const object value(CFPropertyListCreateWithData(nullptr, data.get(), 0, &format, &raw_error));
    const owned<CFErrorRef> error(raw_error);
    EXPECT_EQ(value != nullptr, expected.accepted) << expected.path;
    EXPECT_EQ(value == nullptr, error != nullptr) << expected.path;
    if (value == nullptr || !expected.accepted) return;
    EXPECT_EQ(name_of(format), expected.format) << expected.path;

    const owned<CFDataRef> written(CFPropertyListCreateXMLData(nullptr, value.get()));
    ASSERT_EQ(written != nullptr, expected.sum != "-") << expected.path;
    if (written == nullptr) return;
    EXPECT_EQ(sha256(plist_cases::bytes_of(written.get())), expected.sum) << expected.path;

    // What was written is read back as what it was, and so is the binary form.
    const object again(CFPropertyListCreateWithData(nullptr, written.get(), 0, nullptr, nullptr));
    const owned<CFDataRef> rewritten(CFPropertyListCreateXMLData(nullptr, again.get()));
    EXPECT_TRUE(rewritten != nullptr && CFEqual(written.get(), rewritten.get()) != 0) << expected.path;
    const owned<CFDataRef> binary(
        CFPropertyListCreateData(nullptr, value.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    const object from_binary(CFPropertyListCreateWithData(nullptr, binary.get(), 0, nullptr, nullptr));
    const owned<CFDataRef> third(CFPropertyListCreateXMLData(nullptr, from_binary.get()));
    EXPECT_TRUE(third != nullptr && CFEqual(written.get(), third.get()) != 0) << expected.path;
}

// Those of the files that lie under `folder`. Answers how many there were.
int check_folder(const std::filesystem::path& folder) {
    int seen = 0;
    for (const row& expected : read_rows()) {
        const std::filesystem::path path = folder / std::filesystem::path(expected.path);
        if (!std::filesystem::exists(path)) continue;
        ++seen;
        check(expected, plist_cases::read_file(path));
    }
    return seen;
}

TEST(PlistFiles, TheProjectsOwn) {
    const int seen = check_folder(plist_cases::data_folder());
    std::cout << seen << " files of the project's own\n";
    EXPECT_GT(seen, 0);
}

TEST(PlistFiles, TheWholeCollection) {
    const auto folder = test::collected_data();
    if (!folder) GTEST_SKIP() << "no collection here";
    const int seen = check_folder(*folder);
    std::cout << seen << " files of the collection\n";
    EXPECT_GT(seen, 0);
}

TEST(Sha256, KnownSums) {
    EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(sha256(std::string(119, 'a')),
              "31eba51c313a5c08226adf18d4a359cfdfd8d2e816b13f4af952f7ea6584dcfb");
}

} // namespace
