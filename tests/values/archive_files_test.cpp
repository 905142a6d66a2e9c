// Archives that other programs wrote: each decodes, or is refused as documented.
#include "../helpers/test_folders.h"
#include "value_helpers.h"

#include <QVSharedSupport/keyed_unarchiver.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

namespace {

std::filesystem::path own_folder() {
    return test::own_data() / "keyed";
}

CF::AutoPointer read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return test::parsed(std::string(std::istreambuf_iterator<char>(file), {}));
}

/// What becomes of an archive: its values, or why there are none.
struct outcome {
    CF::Dictionary values;
    std::string refusal;
};

outcome unarchived(const CF::AutoPointer& list, QV::unknown_classes unknown) {
    try {
        return {QV::unarchive(CF::Dictionary(list), unknown), ""};
    } catch (const QV::archiver_exceptions::archive_error& error) {
        return {{}, error.what()};
    } catch (const std::invalid_argument& error) {
        return {{}, error.what()};
    }
}

/// Whether a refusal is one of those that are documented; anything else that is thrown fails the test.
bool is_documented(const std::string& refusal) {
    const auto framed = [&](std::string_view begin, std::string_view end) {
        return refusal.starts_with(begin) && refusal.ends_with(end);
    };
    return refusal == "The dictionary is not a keyed archive" ||
           refusal == "A cycle was detected when decoding the archive" ||
           framed("uid ", " was missing or null") || framed("Cant decode type '", "' as a value");
}

int check_folder(const std::filesystem::path& folder) {
    std::map<std::string, int> seen;
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        ++files;
        const CF::AutoPointer list = read(entry.path());
        for (const auto unknown : {QV::unknown_classes::refuse, QV::unknown_classes::keep}) {
            const outcome result = unarchived(list, unknown);
            EXPECT_NE(static_cast<bool>(result.values), is_documented(result.refusal))
                << entry.path() << ": " << result.refusal;
            ++seen[std::string(unknown == QV::unknown_classes::keep ? "kept: " : "strict: ") +
                   (result.values ? "decoded" : result.refusal.substr(0, 16))];
            // The same archive, converted to XML, gives the same.
            const std::filesystem::path twin = entry.path().string() + ".converted.xml";
            if (!std::filesystem::exists(twin)) continue;
            const outcome converted = unarchived(read(twin), unknown);
            EXPECT_EQ(converted.values, result.values) << twin;
            EXPECT_EQ(converted.refusal, result.refusal) << twin;
        }
    }
    for (const auto& [what, count] : seen)
        std::cout << what << ": " << count << '\n';
    return files;
}

TEST(ArchiveFiles, TheProjectsOwnDecodeOrAreRefused) {
    const int files = check_folder(own_folder());
    std::cout << files << " files of the project's own\n";
    EXPECT_GT(files, 40);
}

TEST(ArchiveFiles, TheWholeCollectionDecodesOrIsRefused) {
    const auto collection = test::collected_data();
    if (!collection) GTEST_SKIP() << "no collection here";
    const int files = check_folder(*collection / "keyed");
    std::cout << files << " files of the collection\n";
    EXPECT_GT(files, 0);
}

TEST(ArchiveFiles, OnesWithKnownContentHaveIt) {
    EXPECT_EQ(unarchived(read(own_folder() / "goios__onevalue.xml"), QV::unknown_classes::refuse).values,
              CF::Dictionary::of({{"$0", CF::Boolean(true)}}));
    const CF::Dictionary primitives =
        unarchived(read(own_folder() / "goios__primitives.bin"), QV::unknown_classes::refuse).values;
    EXPECT_EQ(primitives["$0"], test::number(1));
    EXPECT_EQ(primitives["$11"], test::number(42));
    EXPECT_EQ(unarchived(read(own_folder() / "bpylist2__circular_archive.plist"), QV::unknown_classes::keep)
                  .refusal,
              "A cycle was detected when decoding the archive");
    for (const char* name : {"goios__missing_objects.xml", "goios__missing_top.xml",
                             "goios__broken_plist.xml", "bpylist2__no_objects_archive.plist"})
        EXPECT_EQ(unarchived(read(own_folder() / "malformed" / name), QV::unknown_classes::refuse).refusal,
                  "The dictionary is not a keyed archive")
            << name;
}

} // namespace
