#include "power_request.h"

#include "captured_log.h"
#include "last_error.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using QV::SharedSupport::PowerEvents::power_calls;
using QV::SharedSupport::PowerEvents::power_request;
using testing::ElementsAre;

// A system that grants power requests, unless it is told to refuse.
struct granting_system {
    static inline int request; // its address serves as a handle
    static inline int made, sets, clears;
    static inline bool awake;
    static inline bool refuses_to_make, refuses_to_set, refuses_to_clear;

    static bool refuse() {
        test::set_last_error(5);
        return false;
    }
    static void* create() {
        if (refuses_to_make) return refuse(), nullptr;
        ++made;
        return &request;
    }
    static bool set(void* handle) {
        EXPECT_EQ(handle, &request);
        if (refuses_to_set) return refuse();
        ++sets;
        return awake = true;
    }
    static bool clear(void* handle) {
        EXPECT_EQ(handle, &request);
        if (refuses_to_clear) return refuse();
        ++clears;
        awake = false;
        return true;
    }
};

class power_request_test : public testing::Test {
protected:
    void SetUp() override {
        granting_system::made = granting_system::sets = granting_system::clears = 0;
        granting_system::awake = granting_system::refuses_to_make = granting_system::refuses_to_set =
            granting_system::refuses_to_clear = false;
    }

    // The lines so far as "level text".
    std::vector<std::string> logged() const {
        std::vector<std::string> lines;
        for (const test::log_line& line : log.lines()) {
            EXPECT_EQ(line.logger, "System");
            lines.push_back(std::to_string(static_cast<int>(line.level)) + ' ' + line.text);
        }
        return lines;
    }

    test::captured_log log;
    power_request request{{granting_system::create, granting_system::set, granting_system::clear}};
};

TEST_F(power_request_test, is_set_and_cleared) {
    request.disable_sleep();
    EXPECT_TRUE(granting_system::awake);
    EXPECT_THAT(logged(), ElementsAre("0 Disabling sleep", "0 Attempting to disable sleep...",
                                      "0 Sleep disabled", "0 Disabled sleep"));
    const test::captured_log second;
    request.enable_sleep();
    EXPECT_FALSE(granting_system::awake);
    EXPECT_THAT(second.texts("System"), ElementsAre("Enabling sleep", "Attempting to enable sleep...",
                                                    "Sleep enabled", "Enabled sleep"));
    for (const test::log_line& line : second.lines())
        EXPECT_EQ(line.level, QV::Logging::log_level::trace);
}

TEST_F(power_request_test, is_made_once) {
    EXPECT_EQ(granting_system::made, 0);
    for (int i = 0; i < 3; ++i) {
        request.disable_sleep();
        request.enable_sleep();
    }
    EXPECT_EQ(granting_system::made, 1);
}

TEST_F(power_request_test, does_not_count) {
    request.disable_sleep();
    request.disable_sleep();
    request.enable_sleep();
    EXPECT_FALSE(granting_system::awake);
    request.enable_sleep();
    EXPECT_EQ(granting_system::sets, 2);
    EXPECT_EQ(granting_system::clears, 2);
}

TEST_F(power_request_test, tells_that_it_could_not_be_made) {
    granting_system::refuses_to_make = true;
    const std::string reason = QV::win32_error("PowerCreateRequest", 5).what();
    request.disable_sleep();
    request.enable_sleep();
    EXPECT_THAT(logged(), ElementsAre("0 Disabling sleep", "0 Attempting to disable sleep...",
                                      "4 Unable to disable sleep: " + reason, "0 Disabled sleep",
                                      "0 Enabling sleep", "0 Attempting to enable sleep...",
                                      "4 Unable to enable sleep: " + reason, "0 Enabled sleep"));
    granting_system::refuses_to_make = false;
    request.disable_sleep();
    EXPECT_TRUE(granting_system::awake) << "it is tried again";
}

TEST_F(power_request_test, tells_that_it_could_not_be_set) {
    granting_system::refuses_to_set = true;
    request.disable_sleep();
    EXPECT_THAT(logged(), ElementsAre("0 Disabling sleep", "0 Attempting to disable sleep...",
                                      std::string("4 Unable to disable sleep: ") +
                                          QV::win32_error("PowerSetRequest", 5).what(),
                                      "0 Disabled sleep"));
}

TEST_F(power_request_test, tells_that_it_could_not_be_cleared) {
    granting_system::refuses_to_clear = true;
    request.enable_sleep();
    EXPECT_THAT(logged(), ElementsAre("0 Enabling sleep", "0 Attempting to enable sleep...",
                                      std::string("4 Unable to enable sleep: ") +
                                          QV::win32_error("PowerClearRequest", 5).what(),
                                      "0 Enabled sleep"));
}

TEST_F(power_request_test, is_used_by_one_thread_at_a_time) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 50; ++j) {
                request.disable_sleep();
                request.enable_sleep();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(granting_system::made, 1);
    EXPECT_EQ(granting_system::sets, 200);
    EXPECT_EQ(granting_system::clears, 200);
    // Under the lock, what one call says is not mixed with what another does.
    const std::vector<std::string> lines = log.texts("System");
    std::string attempt;
    for (const std::string& line : lines) {
        if (line.starts_with("Attempting to ")) attempt = line.substr(14, line.size() - 14 - 9);
        const bool of_disabling = line == "Sleep disabled" || line == "Disabled sleep";
        const bool of_enabling = line == "Sleep enabled" || line == "Enabled sleep";
        EXPECT_TRUE(!of_disabling || attempt == "disable");
        EXPECT_TRUE(!of_enabling || attempt == "enable");
    }
    EXPECT_FALSE(attempt.empty());
}

} // namespace
