#include "run_child.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/read_until.hpp>

#include <windows.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace {

// QV_TEST_SPAWNS names another number: a start takes 0.1 seconds under Wine.
int spawns() {
    const char* const given = std::getenv("QV_TEST_SPAWNS");
    return given == nullptr ? 1000 : std::atoi(given);
}

// One life of a child, of a different kind each time; some of them fail to start.
void spawn(boost::asio::io_context& context, int kind) {
    using QV::piped_process;
    const auto executor = context.get_executor();
    switch (kind % 5) {
    case 0: {
        piped_process killed(executor, helper_program("hang"), {});
        // Not before it is up: Wine leaves something of a child behind that is killed while it starts.
        std::string said;
        boost::asio::read_until(killed.standard_output, boost::asio::dynamic_buffer(said), '\n');
        break;
    }
    case 1: {
        piped_process ended(executor, helper_program("exit_with"), {"3"});
        ended.process.wait();
        EXPECT_EQ(ended.process.get_error_code(), 3);
        break;
    }
    case 2:
        EXPECT_THROW(piped_process(executor, helper_program("no_such_program"), {}), QV::win32_error);
        break;
    case 3: {
        auto options = piped_process::make_options(helper_program("exit_with"), {"0"}, {});
        options.inherited_handles.push_back(std::move(QV::pipe::make_read_pipe(executor).write_end));
        const piped_process with_handle(executor, std::move(options));
        break;
    }
    default: {
        auto options = piped_process::make_options(helper_program("exit_with"), {"0"}, {});
        options.inherited_handles.emplace_back();
        EXPECT_THROW(piped_process(executor, std::move(options)), QV::win32_error);
    }
    }
}

TEST(handle_count, is_the_same_after_a_thousand_spawns) {
    boost::asio::io_context context;
    for (int kind = 0; kind < 5; ++kind)
        spawn(context, kind);
    const unsigned long before = open_handles();
    const int count = spawns();
    int given_up = 0;
    for (int i = 0; i < count; ++i) {
        try {
            spawn(context, i);
        } catch (const QV::win32_error& failure) {
            // Wine's server may give a start up when the machine is busy. That is one more that has failed.
            if (failure.code().value() != ERROR_INTERNAL_ERROR) throw;
            ++given_up;
        }
    }
    EXPECT_EQ(open_handles(), before);
    EXPECT_LT(given_up, 5);
    RecordProperty("spawns", count);
}

} // namespace
