// Lets the n-th allocation fail, for every n.
#include "failing_new.h"

#include <QVLog/QVLog.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <string>

namespace {

using namespace QV::Logging;

TEST(failing_allocation, of_a_message_is_counted_and_goes_no_further) {
    const auto path = std::filesystem::temp_directory_path() / "QVLog_failing_allocation_test.txt";
    rotating_file_options options;
    options.path = path;
    const sink_list old_sinks = set_sinks({make_rotating_file_sink(options)});
    const logger log = get_logger("memory");
    const std::string text(10'000, 'x');
    int failed = 0;
    for (long n = 0;; ++n) {
        ASSERT_LT(n, 1000);
        const auto before = failure_count();
        qv_test::limit_blocks(n);
        log.log(log_level::error, "{}", text);
        const bool reached = qv_test::is_out_of_blocks();
        qv_test::limit_blocks(-1);
        if (!reached) {
            EXPECT_EQ(failure_count(), before);
            break;
        }
        failed += failure_count() == before + 1 ? 1 : 0;
    }
    EXPECT_GT(failed, 1);
    set_sinks(old_sinks);
    std::filesystem::remove(path);
}

TEST(failing_allocation, of_a_new_logger_is_thrown_and_leaves_no_half_of_it) {
    const std::string name(100, 'n');
    for (long n = 0;; ++n) {
        ASSERT_LT(n, 100);
        qv_test::limit_blocks(n);
        try {
            const logger log = get_logger(name);
            qv_test::limit_blocks(-1);
            EXPECT_EQ(log.name(), name);
            EXPECT_GT(n, 0);
            break;
        } catch (const std::bad_alloc&) {
            qv_test::limit_blocks(-1);
        }
    }
}

TEST(failing_allocation, while_sinks_are_replaced_keeps_the_old_ones) {
    const sink_list old_sinks = get_sinks();
    for (long n = 0;; ++n) {
        ASSERT_LT(n, 100);
        sink_list replacement = {make_console_sink()};
        const auto wanted = replacement;
        qv_test::limit_blocks(n);
        try {
            set_sinks(std::move(replacement));
            qv_test::limit_blocks(-1);
            EXPECT_EQ(get_sinks(), wanted);
            break;
        } catch (const std::bad_alloc&) {
            qv_test::limit_blocks(-1);
            EXPECT_EQ(get_sinks(), old_sinks);
        }
    }
    set_sinks(old_sinks);
}

} // namespace
