#include "../files/temporary_folder.h"
#include "../helpers/test_folders.h"
#include "run_child.h"

#include <QVSharedSupport/JSON.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string archive() {
    return (test::own_data() / "keyed" / "goios__xctestconfiguration.bin").string();
}

TEST(archive_dump, shows_an_archive_resolved_as_a_tree) {
    const child_outcome tree = run_child("archive_dump", {archive()});
    EXPECT_EQ(tree.code, 0) << tree.error;
    EXPECT_THAT(tree.output, StartsWith("dictionary #1\n  root: dictionary #2\n"));
    EXPECT_THAT(tree.output, HasSubstr("productModuleName: \"WebDriverAgentRunner\"\n"));
    EXPECT_THAT(tree.output, Not(HasSubstr("$objects")));
}

TEST(archive_dump, writes_xml) {
    const child_outcome xml = run_child("archive_dump", {"--xml", archive()});
    EXPECT_EQ(xml.code, 0) << xml.error;
    EXPECT_THAT(xml.output, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"));
    EXPECT_THAT(xml.output,
                HasSubstr("<key>productModuleName</key>\n\t\t<string>WebDriverAgentRunner</string>"));
}

TEST(archive_dump, writes_json) {
    using namespace QV::SharedSupport::JSON;
    const child_outcome json = run_child("archive_dump", {"--json", archive()});
    EXPECT_EQ(json.code, 0) << json.error;
    const JsonValue value = parse(json.output);
    const auto& root = boost::get<JsonObject>(boost::get<JsonObject>(value).at("root"));
    EXPECT_EQ(root.at("productModuleName"), JsonValue("WebDriverAgentRunner"));
    EXPECT_EQ(root.at("formatVersion"), JsonValue(2.0));
}

TEST(archive_dump, hides_passwords) {
    const temporary_folder folder;
    const auto path =
        folder.make(L"secret.plist", "<plist version=\"1.0\"><dict><key>Password</key><string>xyzzy</string>"
                                     "<key>User</key><string>ann</string></dict></plist>");
    const child_outcome hidden = run_child("archive_dump", {"--redact", path.string()});
    EXPECT_EQ(hidden.code, 0) << hidden.error;
    EXPECT_THAT(hidden.output, HasSubstr("Password: \"<redacted>\"\n"));
    EXPECT_THAT(hidden.output, HasSubstr("User: \"ann\"\n"));
    EXPECT_THAT(hidden.output, Not(HasSubstr("xyzzy")));
}

TEST(archive_dump, says_what_cannot_be_opened) {
    const child_outcome missing = run_child("archive_dump", {"no such file"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_EQ(missing.output, "");
    EXPECT_THAT(missing.error, StartsWith("archive_dump: the file cannot be opened"));
}

} // namespace
