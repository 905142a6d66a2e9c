#include "run_child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string data(const std::string& name) {
    return std::string(std::getenv("QV_TEST_SOURCE_DIR")) + "/../examples/data/" + name;
}

// Runs recovery_host with recovery_helper, playing `stream`.
child_outcome play(const std::string& stream, const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = {helper_program("recovery_helper").string(), "--replay", stream};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run_child("recovery_host", std::move(arguments));
}

TEST(recovery_host, shows_a_whole_restore) {
    const child_outcome run = play(data("restore.plists"), {"--stderr", data("restore.stderr.txt")});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.output, StartsWith("DeviceFound: "));
    EXPECT_THAT(run.output, HasSubstr("[###############...............]  50 % Sending file system"));
    EXPECT_THAT(run.output, HasSubstr("Status: Ger\xC3\xA4t startet neu"));
    EXPECT_THAT(run.output, HasSubstr("Checkpoint"));
    EXPECT_THAT(run.error, HasSubstr("  helper says: usb: opened device 05ac:1281"));
    EXPECT_THAT(run.error, HasSubstr("  helper says:   restore: image build 21A329 accepted"));
    EXPECT_THAT(run.error, HasSubstr("  helper says: restore: done"));
    EXPECT_THAT(run.error, HasSubstr("recovery_host: the helper ended with exit code 0"));
}

TEST(recovery_host, copes_with_output_in_small_pieces) {
    const child_outcome whole = play(data("restore.plists"));
    const child_outcome pieces = play(data("restore.plists"), {"--chunk", "7"});
    EXPECT_EQ(pieces.code, 0);
    EXPECT_EQ(pieces.output, whole.output);
}

TEST(recovery_host, passes_failure_on) {
    const child_outcome run = play(data("restore.plists"), {"--exit-code", "7"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.error, HasSubstr("recovery_host: the helper ended with exit code 7"));
}

TEST(recovery_host, names_a_crash) {
    const child_outcome run = play(data("restore.plists"), {"--die-after", "3"});
    EXPECT_EQ(run.code, 4);
    EXPECT_THAT(run.error, HasSubstr("recovery_host: the helper crashed (0xC0000005)"));
    EXPECT_THAT(run.output, HasSubstr("Status: Verifying the restore image"));
    EXPECT_THAT(run.output, Not(HasSubstr("Checkpoint")));
}

TEST(recovery_host, refuses_garbage) {
    const child_outcome run = play(data("restore.stderr.txt"));
    EXPECT_EQ(run.code, 5);
    EXPECT_THAT(run.error, HasSubstr("recovery_host: the helper's output could not be understood"));
    EXPECT_EQ(run.output, "");
}

TEST(recovery_host, says_that_a_program_is_missing) {
    const child_outcome run = run_child("recovery_host", {"C:\\no such folder\\helper.exe"});
    EXPECT_EQ(run.code, 3);
    EXPECT_THAT(run.error, StartsWith("recovery_host: the helper could not be started: CreateProcessW: "));
}

TEST(recovery_host, tells_how_it_is_used) {
    const child_outcome run = run_child("recovery_host", {});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.error, StartsWith("recovery_host: usage: "));
}

} // namespace
