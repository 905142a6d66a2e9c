#include "../files/temporary_folder.h"
#include "../helpers/test_folders.h"
#include "message_samples.h"
#include "run_child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>

#include <windows.h>

#include <tlhelp32.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string data(const std::string& name) {
    return std::string(std::getenv("QV_TEST_SOURCE_DIR")) + "/../examples/data/" + name;
}

// With the line ends of a C string.
std::string lines(std::string output) {
    std::erase(output, '\r');
    return output;
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

TEST(recovery_host, names_a_crash_after_the_last_message) {
    // With and without a line end, which is no message, behind it.
    for (const std::string end : {"", "\n"}) {
        const temporary_folder folder;
        const std::string stream =
            folder.make(L"two.plists", message_text("A", "1") + message_text("B", "2") + end).string();
        const child_outcome run = play(stream, {"--die-after", "2"});
        EXPECT_EQ(run.code, 4) << run.error;
        EXPECT_EQ(lines(run.output), "A: 1\nB: 2\n");
        EXPECT_EQ(play(stream, {"--die-after", "3"}).code, 0);
    }
}

TEST(recovery_host, takes_the_code_of_a_running_process_for_a_failure) {
    const child_outcome run = play(data("restore.plists"), {"--exit-code", "259"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.error, HasSubstr("recovery_host: the helper ended with exit code 259"));
}

TEST(recovery_host, takes_a_negative_exit_code_for_no_crash) {
    const child_outcome failed = play(data("restore.plists"), {"--exit-code", "-1"});
    EXPECT_EQ(failed.code, 1);
    EXPECT_THAT(failed.error, HasSubstr("recovery_host: the helper ended with exit code -1"));
    const child_outcome crashed = play(data("restore.plists"), {"--exit-code", "0xC0000409"});
    EXPECT_EQ(crashed.code, 4);
    EXPECT_THAT(crashed.error, HasSubstr("recovery_host: the helper crashed (0xC0000409)"));
}

TEST(recovery_host, shows_a_bar_for_whatever_tells_a_share) {
    const temporary_folder folder;
    const auto progress = [](const std::string& value) {
        return property_list("<dict><key>Type</key><string>Progress</string><key>Value</key>" + value +
                             "</dict>");
    };
    const auto detailed = [&](const std::string& value) {
        return progress("<dict><key>Progress</key>" + value + "</dict>");
    };
    const std::string stream = progress("<real>0.5</real>") + detailed("<real>1</real>") +
                               detailed("<real>-3</real>") + progress("<real>2.5</real>") +
                               progress("<integer>13</integer>") + progress("<integer>-1</integer>") +
                               progress("<real>nan</real>") + detailed("<real>nan</real>") +
                               detailed("<real>-infinity</real>") + progress("<real>+infinity</real>");
    const child_outcome run = play(folder.make(L"progress.plists", stream).string());
    EXPECT_EQ(run.code, 0) << run.error;
    EXPECT_EQ(lines(run.output), "[###############...............]  50 % Progress\n"
                                 "[##############################] 100 % Progress\n"
                                 "[..............................]   0 % Progress\n"
                                 "[##############################] 100 % Progress\n"
                                 "Progress: 13\n"
                                 "Progress: -1\n"
                                 "Progress: not known\n"
                                 "Progress: Progress not known\n"
                                 "Progress: Progress not known\n"
                                 "Progress: not known\n");
}

TEST(recovery_host, shows_the_progress_of_a_recorded_stream) {
    // Shares, and numbers of a step of how many is not told; in its middle is what is no message.
    const child_outcome run = play((test::own_data() / "stream" / "array_root.plists").string());
    EXPECT_EQ(run.code, 5);
    EXPECT_THAT(lines(run.output), HasSubstr("\n[######........................]  22 % Progress\n"));
    EXPECT_THAT(lines(run.output), HasSubstr("\n[########......................]  28 % Sending iBSS\n"));
    EXPECT_THAT(lines(run.output), HasSubstr("\nProgress: 13\n"));
}

// The one child of the process `parent`.
QV::pipe::handle child_of(unsigned long parent) {
    const QV::pipe::handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
         more = Process32NextW(snapshot.get(), &entry))
        if (entry.th32ParentProcessID == parent && std::wstring(entry.szExeFile) != L"conhost.exe")
            return QV::pipe::handle(OpenProcess(SYNCHRONIZE, FALSE, entry.th32ProcessID));
    return {};
}

// Starts recovery_host with that helper, presses Ctrl-C once the event "ready" is set, and expects both gone.
void interrupt(const std::string& helper, const std::string& ready_name, std::vector<std::string> arguments) {
    const QV::pipe::handle ready(CreateEventA(nullptr, TRUE, FALSE, ready_name.c_str()));
    boost::asio::io_context context;
    arguments.insert(arguments.begin(), {helper_program(helper).string(), ready_name});
    QV::piped_process host(context.get_executor(), helper_program("recovery_host"), std::move(arguments));
    WaitForSingleObject(ready.get(), INFINITE);
    const QV::pipe::handle child = child_of(host.process.get_pid());
    ASSERT_NE(child.get(), nullptr);
    ASSERT_EQ(WaitForSingleObject(child.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    ASSERT_EQ(run_child("press_ctrl_c", {std::to_string(host.process.get_pid())}).code, 0);
    const child_outcome run = finish_child(context, host);
    EXPECT_EQ(run.code, 130);
    EXPECT_THAT(run.error, HasSubstr("recovery_host: interrupted; the helper was ended"));
    EXPECT_EQ(WaitForSingleObject(child.get(), 0), WAIT_OBJECT_0) << "the helper is gone";
}

std::string event_name(const std::string& name) {
    return "qv_recovery_host_" + name + "_" + std::to_string(GetCurrentProcessId());
}

TEST(recovery_host, ends_the_helper_at_ctrl_c) {
    interrupt("hang", event_name("hang"), {});
}

TEST(recovery_host, waits_for_no_other_process_at_ctrl_c) {
    const std::string name = event_name("done");
    const QV::pipe::handle done(CreateEventA(nullptr, TRUE, FALSE, name.c_str()));
    interrupt("lend_output", event_name("lent"), {name});
    SetEvent(done.get());
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
