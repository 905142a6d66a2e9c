#include "../host/power/stand_in.h"
#include "run_child.h"

#include <QVSharedSupport/JSON.h>
#include <QVSharedSupport/host_info.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using QV::SharedSupport::JSON::JsonArray;
using QV::SharedSupport::JSON::JsonObject;
using QV::SharedSupport::JSON::JsonValue;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

child_outcome report(std::vector<std::string> arguments) {
    // Wine starts its desktop process for the first program that needs one, and lets it inherit that
    // program's pipes: were it the child, they would never end.
    GetDesktopWindow();
    return run_child("host_report", std::move(arguments));
}

JsonObject object_in(const std::string& output) {
    return boost::get<JsonObject>(QV::SharedSupport::JSON::parse(output));
}

TEST(host_report, prints_a_table) {
    const child_outcome run = report({});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.error, "");
    EXPECT_THAT(run.output, StartsWith("System            Windows\n"));
    EXPECT_THAT(run.output, HasSubstr("\nVersion           " + QV::SharedSupport::get_os_version() + "\n"));
    EXPECT_THAT(run.output, HasSubstr("\nArchitecture      AMD64\n"));
    EXPECT_THAT(run.output, HasSubstr("\nBits              64\n"));
    EXPECT_THAT(run.output, HasSubstr("\nTranslated        (not known)\n"));
    EXPECT_THAT(run.output,
                HasSubstr("\nUser              " + QXSystemGetUserIdentifier().to_string() + "\n"));
    EXPECT_THAT(run.output, HasSubstr("\nStack trace        0 host_report"));
    EXPECT_THAT(run.output, Not(HasSubstr("\nReport ")));
}

TEST(host_report, prints_json) {
    const child_outcome run = report({"--json"});
    EXPECT_EQ(run.code, 0);
    const JsonObject facts = object_in(run.output);
    EXPECT_EQ(facts.at("family"), JsonValue("Windows"));
    EXPECT_EQ(facts.at("version"), JsonValue(QV::SharedSupport::get_os_version()));
    EXPECT_EQ(facts.at("architecture"), JsonValue("AMD64"));
    EXPECT_EQ(facts.at("bits"), JsonValue(64));
    EXPECT_EQ(facts.at("translated"), JsonValue(nullptr));
    EXPECT_EQ(facts.at("user"), JsonValue(QXSystemGetUserIdentifier().to_string()));
    const QV::hardware_info hardware = QV::get_hardware_info();
    EXPECT_EQ(facts.at("manufacturer"), JsonValue(hardware.manufacturer));
    EXPECT_EQ(facts.at("model"), JsonValue(hardware.model));
    EXPECT_GT(boost::get<JsonArray>(facts.at("stack_trace")).size(), 1U);
    const JsonObject failures = boost::get<JsonObject>(facts.at("failures"));
    // Each fact is there, or else its reason: an address may truly be missing where the tests run.
    if (const auto addresses = QV::SharedSupport::get_local_ip_addresses()) {
        JsonArray texts;
        for (const auto& address : addresses.value())
            texts.emplace_back(address.to_string());
        EXPECT_EQ(facts.at("addresses"), JsonValue(texts));
    } else {
        EXPECT_TRUE(failures.contains("addresses"));
    }
    try {
        EXPECT_EQ(facts.at("mac_address"), JsonValue(QV::SharedSupport::get_primary_mac_address()));
    } catch (const std::runtime_error& failure) {
        EXPECT_EQ(failures.at("mac_address"), JsonValue(failure.what()));
    }
    EXPECT_FALSE(facts.contains("report"));
}

TEST(host_report, has_the_system_write_its_report) {
    if (!stand_in::may_be_installed()) GTEST_SKIP() << "the system's own tool takes minutes";
    const stand_in::installed tool;
    const stand_in::director directed(L"write");
    const std::string file = "C:\\Ger\xC3\xA4t.nfo";
    const child_outcome table = report({"--report", file, "--timeout", "120"});
    EXPECT_EQ(table.code, 0);
    EXPECT_EQ(table.error, "");
    EXPECT_THAT(table.output, HasSubstr("\nReport            " + file + "\n"));

    const child_outcome json = report({"--json", "--report", file});
    EXPECT_EQ(json.code, 0);
    EXPECT_EQ(object_in(json.output).at("report"), JsonValue(file));
    EXPECT_TRUE(std::filesystem::remove(L"C:\\Ger\u00E4t.nfo"));
}

TEST(host_report, says_that_the_report_took_too_long) {
    // No tool is even started for a time-out of 0.
    const std::string file = "C:\\no such folder\\Ger\xC3\xA4t.nfo";
    const child_outcome table = report({"--report", file, "--timeout", "0"});
    EXPECT_EQ(table.code, 1);
    EXPECT_EQ(table.error, "host_report: Failed to complete system report task before timeout\n");
    EXPECT_THAT(table.output, StartsWith("System            Windows\n"));
    EXPECT_THAT(table.output,
                HasSubstr("\nReport            (Failed to complete system report task before timeout)\n"));

    const child_outcome json = report({"--json", "--report", file, "--timeout", "0"});
    EXPECT_EQ(json.code, 1);
    const JsonObject facts = object_in(json.output);
    EXPECT_EQ(facts.at("report"), JsonValue(nullptr));
    EXPECT_EQ(boost::get<JsonObject>(facts.at("failures")).at("report"),
              JsonValue("Failed to complete system report task before timeout"));
}

TEST(host_report, tells_how_it_is_used) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--what"},
                                               {"file"},
                                               {"--report"},
                                               {"--report", "x", "--timeout"},
                                               {"--timeout", ""},
                                               {"--timeout", "-1"},
                                               {"--timeout", "1.5"},
                                               {"--timeout", "123456789"}}) {
        const child_outcome run = report(arguments);
        EXPECT_EQ(run.code, 2) << arguments.front();
        EXPECT_EQ(run.error, "usage: host_report [--json] [--report FILE [--timeout SECONDS]]\n");
        EXPECT_EQ(run.output, "");
    }
}

} // namespace
