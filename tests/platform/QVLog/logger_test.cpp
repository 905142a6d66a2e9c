#include <QVLog/logger.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "captured_log.h"

using QV::Logging::get_logger;
using QV::Logging::log_level;
using testing::ElementsAre;

namespace {

struct explosive {};
struct out_of_memory {};
struct chatty {};

} // namespace

template <>
struct fmt::formatter<explosive> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    auto format(const explosive&, fmt::format_context&) const -> fmt::format_context::iterator {
        throw std::runtime_error("cannot be formatted");
    }
};

template <>
struct fmt::formatter<out_of_memory> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    auto format(const out_of_memory&, fmt::format_context&) const -> fmt::format_context::iterator {
        throw std::bad_alloc();
    }
};

template <>
struct fmt::formatter<chatty> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    auto format(const chatty&, fmt::format_context& context) const {
        get_logger("inner").log(log_level::trace, "while formatting");
        errno = ERANGE;
        return context.out();
    }
};

namespace {

TEST(log_level, has_fixed_numbers) {
    const std::vector<log_level> levels = {log_level::trace,  log_level::debug, log_level::info,
                                           log_level::notice, log_level::error, log_level::critical};
    for (std::size_t i = 0; i < levels.size(); ++i)
        EXPECT_EQ(static_cast<std::size_t>(levels[i]), i);
}

TEST(logger, of_one_name_is_one_logger) {
    const auto first = get_logger("one name");
    const auto second = get_logger("one name");
    EXPECT_EQ(&first.name(), &second.name());
    EXPECT_EQ(first.name(), "one name");
    EXPECT_NE(&first.name(), &get_logger("another").name());
    first.set_level(log_level::info);
    EXPECT_EQ(second.level(), log_level::info);
    first.reset_level();
}

TEST(logger, takes_any_name) {
    for (const std::string& name : {std::string(), std::string("Ger\xC3\xA4t"), std::string("a\0b", 3),
                                    std::string(100'000, 'x'), std::string("\xFF")})
        EXPECT_EQ(get_logger(name).name(), name);
}

TEST(logger, fills_the_format_with_the_arguments) {
    const test::captured_log captured;
    const auto log = get_logger("System");
    log.log(log_level::error, "{} failed for module '{}'", "FindResource", std::string("kernel32"));
    log.log(log_level::trace, "plain");
    int number = 7;
    log.log(log_level::notice, "Loaded {:>3} types", number);
    EXPECT_THAT(captured.texts("System"),
                ElementsAre("FindResource failed for module 'kernel32'", "plain", "Loaded   7 types"));
    EXPECT_EQ(captured.lines()[0].level, log_level::error);
    EXPECT_EQ(captured.lines()[2].level, log_level::notice);
}

TEST(logger, log_str_takes_the_text_as_it_stands) {
    const test::captured_log captured;
    const std::string text("{} is {no} format\0\xFF\n", 20);
    QV::Logging::log_str(get_logger("plain"), log_level::trace, text);
    QV::Logging::log_str(get_logger("plain"), log_level::trace, "");
    EXPECT_THAT(captured.texts("plain"), ElementsAre(text, ""));
}

TEST(logger, log_fmt_impl_takes_a_format_known_only_at_run_time) {
    const test::captured_log captured;
    const int seven = 7;
    const std::string format = "{} of {}";
    const auto log = get_logger("plain");
    QV::Logging::log_fmt_impl(log, log_level::trace, format, fmt::make_format_args(seven, seven));
    const auto before = QV::Logging::failure_count();
    QV::Logging::log_fmt_impl(log, log_level::trace, "{} {} {}", fmt::make_format_args(seven));
    EXPECT_EQ(QV::Logging::failure_count(), before + 1);
    EXPECT_THAT(captured.texts("plain"), ElementsAre("7 of 7"));
}

TEST(logger, a_message_below_the_level_is_not_even_formatted) {
    const test::captured_log captured(log_level::error);
    const auto log = get_logger("quiet");
    const auto before = QV::Logging::failure_count();
    log.log(log_level::notice, "{}", explosive());
    QV::Logging::log_str(log, log_level::notice, "text");
    QV::Logging::log_fmt_impl(log, log_level::notice, "text", fmt::make_format_args());
    EXPECT_EQ(QV::Logging::failure_count(), before);
    EXPECT_TRUE(captured.lines().empty());
    log.log(log_level::error, "error");
    log.log(log_level::critical, "critical");
    EXPECT_THAT(captured.texts("quiet"), ElementsAre("error", "critical"));
}

TEST(logger, follows_the_global_level_until_it_has_its_own) {
    const test::captured_log captured(log_level::info);
    const auto log = get_logger("levels");
    EXPECT_EQ(log.level(), log_level::info);
    EXPECT_EQ(get_logger("levels, made later").level(), log_level::info);
    log.set_level(log_level::trace);
    EXPECT_TRUE(log.is_enabled(log_level::trace));
    QV::Logging::set_global_level(log_level::off);
    EXPECT_EQ(QV::Logging::global_level(), log_level::off);
    EXPECT_EQ(log.level(), log_level::trace);
    EXPECT_FALSE(get_logger("levels, made later").is_enabled(log_level::critical));
    log.reset_level();
    EXPECT_EQ(log.level(), log_level::off);
    log.log(log_level::critical, "discarded");
    log.log(log_level::off, "off is no level of a message");
    EXPECT_TRUE(captured.lines().empty());
}

TEST(logger, off_is_not_the_level_of_a_message) {
    const test::captured_log captured;
    get_logger("levels").log(log_level::off, "discarded");
    EXPECT_TRUE(captured.lines().empty());
}

TEST(logger, at_first_only_failures_pass) {
    EXPECT_EQ(QV::Logging::global_level(), log_level::error);
}

TEST(logger, a_formatter_that_throws_never_reaches_the_caller) {
    const test::captured_log captured;
    const auto log = get_logger("failing");
    const auto before = QV::Logging::failure_count();
    log.log(log_level::error, "{}", explosive());
    log.log(log_level::error, "{}", out_of_memory());
    EXPECT_EQ(QV::Logging::failure_count(), before + 2);
    EXPECT_TRUE(captured.texts("failing").empty());
    log.log(log_level::error, "still works");
    EXPECT_THAT(captured.texts("failing"), ElementsAre("still works"));
}

TEST(logger, a_formatter_may_log_and_errno_is_left_alone) {
    const test::captured_log captured;
    errno = ENOENT;
    get_logger("outer").log(log_level::error, "{}outer", chatty());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(captured.texts("inner"), ElementsAre("while formatting"));
    EXPECT_THAT(captured.texts("outer"), ElementsAre("outer"));
}

TEST(logger, a_long_message_arrives_whole) {
    const test::captured_log captured;
    const std::string text(5'000'000, 'x');
    get_logger("long").log(log_level::error, "<{}>", text);
    ASSERT_EQ(captured.lines().size(), 1U);
    EXPECT_TRUE(captured.lines()[0].text == "<" + text + ">");
}

TEST(logger, many_threads_lose_nothing_and_keep_their_order) {
    const test::captured_log captured;
    constexpr int threads = 8;
    constexpr int messages = 500;
    std::vector<std::thread> workers;
    workers.reserve(threads);
    for (int thread = 0; thread < threads; ++thread)
        workers.emplace_back([thread] {
            const auto log = get_logger("thread " + std::to_string(thread % 3));
            for (int message = 0; message < messages; ++message)
                log.log(log_level::trace, "{} {}", thread, message);
        });
    for (std::thread& worker : workers)
        worker.join();
    std::vector<int> next(threads, 0);
    for (const test::log_line& line : captured.lines()) {
        const auto blank = line.text.find(' ');
        const auto thread = static_cast<std::size_t>(std::stoi(line.text.substr(0, blank)));
        EXPECT_EQ(std::stoi(line.text.substr(blank)), next[thread]++);
    }
    EXPECT_EQ(next, std::vector<int>(threads, messages));
}

TEST(logger, levels_may_change_while_others_log) {
    const test::captured_log captured;
    std::atomic<bool> stop{false};
    std::thread worker([&] {
        while (!stop)
            get_logger("racing").log(log_level::trace, "message");
    });
    for (int i = 0; i < 2000; ++i) {
        QV::Logging::set_global_level(i % 2 ? log_level::trace : log_level::error);
        get_logger("racing").set_level(log_level::info);
        get_logger("racing").reset_level();
        get_logger("new " + std::to_string(i % 20));
    }
    stop = true;
    worker.join();
    for (const test::log_line& line : captured.lines())
        EXPECT_EQ(line.text, "message");
}

TEST(logger, the_thread_name_comes_with_the_message) {
    const test::captured_log captured;
    const auto log = get_logger("named");
    std::thread([&] {
        log.log(log_level::trace, "before");
        QV::Logging::set_current_thread_name("worker[0]");
        log.log(log_level::trace, "named");
        QV::Logging::set_current_thread_name("");
        log.log(log_level::trace, "after");
    }).join();
    log.log(log_level::trace, "elsewhere");
    const auto lines = captured.lines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].thread_name, "");
    EXPECT_EQ(lines[1].thread_name, "worker[0]");
    EXPECT_EQ(lines[2].thread_name, "");
    EXPECT_EQ(lines[3].thread_name, "");
    EXPECT_EQ(lines[0].thread_id, lines[1].thread_id);
    EXPECT_NE(lines[0].thread_id, lines[3].thread_id);
}

TEST(logger, a_long_thread_name_is_cut_at_the_end_of_a_character) {
    const test::captured_log captured;
    std::thread([] {
        QV::Logging::set_current_thread_name(std::string(126, 'x') + "\xC3\xA4"); // one byte too long
        get_logger("named").log(log_level::trace, "");
        QV::Logging::set_current_thread_name(std::string(127, 'x'));
        get_logger("named").log(log_level::trace, "");
        QV::Logging::set_current_thread_name(std::string(500, '\x80')); // no character begins anywhere
        get_logger("named").log(log_level::trace, "");
    }).join();
    const auto lines = captured.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].thread_name, std::string(126, 'x'));
    EXPECT_EQ(lines[1].thread_name, std::string(127, 'x'));
    EXPECT_EQ(lines[2].thread_name, "");
}

TEST(logger, a_message_carries_the_time_it_was_logged_at) {
    const test::captured_log captured;
    const auto before = std::chrono::system_clock::now();
    get_logger("timed").log(log_level::trace, "now");
    const auto after = std::chrono::system_clock::now();
    ASSERT_EQ(captured.lines().size(), 1U);
    EXPECT_LE(before, captured.lines()[0].time);
    EXPECT_LE(captured.lines()[0].time, after);
}

// Logs when the program's static objects are destroyed, after main(); a crash there fails the run.
struct logs_at_exit {
    ~logs_at_exit() {
        QV::Logging::set_sinks({});
        QV::Logging::set_current_thread_name("exit");
        get_logger("at exit").log(log_level::critical, "{}", "bye");
    }
} const at_exit;

} // namespace
