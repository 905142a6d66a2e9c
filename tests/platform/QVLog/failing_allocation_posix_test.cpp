// Lets the n-th allocation fail, for every n, in the library as well: elsewhere than on Windows this
// program's own operator new serves all of them.
#include <QVLog/QVLog.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>

namespace {

thread_local long until_failure = -1;

void* allocate(std::size_t size) {
    if (until_failure == 0) throw std::bad_alloc();
    if (until_failure > 0) --until_failure;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

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
        until_failure = n;
        log.log(log_level::error, "{}", text);
        const bool reached = until_failure == 0;
        until_failure = -1;
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
        until_failure = n;
        try {
            const logger log = get_logger(name);
            until_failure = -1;
            EXPECT_EQ(log.name(), name);
            EXPECT_GT(n, 0);
            break;
        } catch (const std::bad_alloc&) {
            until_failure = -1;
        }
    }
}

TEST(failing_allocation, while_sinks_are_replaced_keeps_the_old_ones) {
    const sink_list old_sinks = get_sinks();
    for (long n = 0;; ++n) {
        ASSERT_LT(n, 100);
        sink_list replacement = {make_console_sink()};
        const auto wanted = replacement;
        until_failure = n;
        try {
            set_sinks(std::move(replacement));
            until_failure = -1;
            EXPECT_EQ(get_sinks(), wanted);
            break;
        } catch (const std::bad_alloc&) {
            until_failure = -1;
            EXPECT_EQ(get_sinks(), old_sinks);
        }
    }
    set_sinks(old_sinks);
}

} // namespace
