#include "report_task.h"

#include "captured_log.h"
#include "fake_child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;
using boost::system::error_code;
using QV::SystemConfiguration::deadline_after;
using QV::SystemConfiguration::describe_exit;
namespace errc = boost::system::errc;

constexpr auto no_limit = std::chrono::nanoseconds::max();
const error_code success;
const error_code broken_pipe = errc::make_error_code(errc::broken_pipe);
const error_code io_error = errc::make_error_code(errc::io_error);

// The text of the exception that running `script` ends with; empty for none. No child is left in any case.
std::string run(const child_script& script, std::chrono::nanoseconds timeout = no_limit) {
    std::string text;
    try {
        QV::SystemConfiguration::run_report<fake_child>(
            [&](const boost::asio::any_io_executor& executor) {
                return std::make_unique<fake_child>(executor, script);
            },
            timeout);
    } catch (const std::runtime_error& failure) {
        text = failure.what();
    }
    return text;
}

class report_task : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(fake_child::alive, 0); }

    child_script script;
};

TEST_F(report_task, succeeds_when_the_streams_end_and_the_code_is_0) {
    EXPECT_EQ(run(script), "");
    script.output = script.error_output = {success, success, success, broken_pipe};
    EXPECT_EQ(run(script), "");
}

TEST_F(report_task, tells_what_failed_and_why) {
    const std::string failure = "System report task reported failure: ";
    script.exit = {io_error};
    EXPECT_EQ(run(script), failure + "While waiting for msinfo32 to exit: " + io_error.message());
    script = {};
    script.output = {success, io_error};
    EXPECT_EQ(run(script), failure + "While reading msinfo32's output: " + io_error.message());
    script = {};
    script.error_output = {success, io_error};
    EXPECT_EQ(run(script), failure + "While reading msinfo32 error output: " + io_error.message());
    script = {};
    script.code = [] { return std::nullopt; };
    EXPECT_EQ(run(script), failure + "Could not get return code from msinfo32");
    script.code = [] { return 7; };
    EXPECT_EQ(run(script), failure + "msinfo32 exited with error 7");
}

TEST_F(report_task, does_not_go_on_after_a_failed_read) {
    script.error_output = {io_error};
    script.output = script.exit = {}; // these would never end
    EXPECT_THAT(run(script), testing::HasSubstr("While reading msinfo32 error output: "));
}

TEST_F(report_task, tells_why_nothing_was_launched) {
    try {
        QV::SystemConfiguration::run_report<fake_child>(
            [](const boost::asio::any_io_executor&) -> std::unique_ptr<fake_child> {
                throw std::invalid_argument("no such tool");
            },
            no_limit);
        ADD_FAILURE() << "did not throw";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Failed to launch system report task: no such tool");
    }
}

TEST_F(report_task, counts_an_exception_of_the_task_as_a_failed_launch) {
    script.code = []() -> std::optional<int> { throw std::invalid_argument("no code"); };
    EXPECT_EQ(run(script), "Failed to launch system report task: no code");
}

TEST_F(report_task, times_out_whatever_is_outstanding) {
    const std::string text = "Failed to complete system report task before timeout";
    for (auto member : {&child_script::output, &child_script::error_output, &child_script::exit}) {
        script = {};
        script.*member = {};
        EXPECT_EQ(run(script, 1ms), text);
    }
    script.output = script.error_output = script.exit = {};
    EXPECT_EQ(run(script, 1ns), text);
}

TEST_F(report_task, starts_nothing_without_time) {
    for (const auto timeout : {0ns, -1ns, std::chrono::nanoseconds::min()}) {
        bool started = false;
        EXPECT_THROW(QV::SystemConfiguration::run_report<fake_child>(
                         [&](const boost::asio::any_io_executor& executor) {
                             started = true;
                             return std::make_unique<fake_child>(executor, script);
                         },
                         timeout),
                     std::runtime_error);
        EXPECT_FALSE(started);
    }
}

TEST_F(report_task, logs_that_the_child_could_not_be_ended) {
    script.at_destruction = [] { throw std::runtime_error("it refuses"); };
    const test::captured_log log;
    EXPECT_EQ(run(script), "");
    EXPECT_THAT(log.texts("System"), testing::ElementsAre("msinfo32 was not ended: it refuses"));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].level, QV::Logging::log_level::error);
    script.exit = {};
    EXPECT_EQ(run(script, 1ms), "Failed to complete system report task before timeout");
}

TEST_F(report_task, ends_a_child_in_the_middle_of_endless_output) {
    script.output.assign(2000, success); // and then nothing, as is the case with the others
    script.error_output = script.exit = {};
    EXPECT_EQ(run(script, 1ms), "Failed to complete system report task before timeout");
}

TEST_F(report_task, runs_on_several_threads_at_once) {
    std::vector<std::thread> callers;
    std::atomic<int> right = 0;
    for (int i = 0; i < 16; ++i)
        callers.emplace_back([&right, i] {
            child_script own;
            own.code = [i] { return i; };
            if (i % 4 == 3) own.exit = {};
            const std::string text = run(own, i % 4 == 3 ? 1ms : no_limit);
            const std::string expected =
                i % 4 == 3 ? "Failed to complete system report task before timeout"
                : i == 0
                    ? ""
                    : "System report task reported failure: msinfo32 exited with error " + std::to_string(i);
            if (text == expected) ++right;
        });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(right, 16);
}

TEST(describe_exit, writes_codes_as_they_read) {
    EXPECT_EQ(describe_exit(0), "");
    EXPECT_EQ(describe_exit(1), "msinfo32 exited with error 1");
    EXPECT_EQ(describe_exit(static_cast<int>(0xC0000005)), "msinfo32 exited with error -1073741819");
    EXPECT_EQ(describe_exit(std::nullopt), "Could not get return code from msinfo32");
}

TEST(deadline_after, does_not_overflow) {
    using clock = std::chrono::steady_clock;
    EXPECT_EQ(deadline_after(std::chrono::nanoseconds::max()), clock::time_point::max());
    const auto at_once = deadline_after(std::chrono::nanoseconds::min());
    EXPECT_LE(at_once, clock::now());
    const auto before = clock::now();
    const auto hour = deadline_after(1h);
    EXPECT_GE(hour, before + 1h);
    EXPECT_LE(hour, clock::now() + 1h);
}

} // namespace
