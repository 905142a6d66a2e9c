#include <QVLog/QVLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "captured_log.h"

namespace {

using namespace QV::Logging;
using testing::ElementsAre;

/// Puts the sinks and the level back that were there before.
class sinks : public testing::Test {
protected:
    void SetUp() override { set_global_level(log_level::trace); }
    void TearDown() override {
        set_sinks(old_sinks_);
        set_global_level(old_level_);
    }

    static std::shared_ptr<sink> collect_into(std::vector<std::string>& texts) {
        return make_callback_sink([&texts](const record& message) { texts.emplace_back(message.text); });
    }

    const logger log = get_logger("sinks");

private:
    const sink_list old_sinks_ = get_sinks();
    const log_level old_level_ = global_level();
};

template <class Error>
std::string error_text(auto operation) {
    try {
        operation();
    } catch (const Error& error) {
        return error.what();
    }
    return "none";
}

TEST_F(sinks, at_first_there_is_one) {
    EXPECT_EQ(get_sinks().size(), 1U);
}

TEST_F(sinks, are_called_in_order_and_can_be_replaced) {
    std::vector<std::string> calls;
    const auto first = make_callback_sink([&](const record&) { calls.emplace_back("first"); });
    const auto second = make_callback_sink([&](const record&) { calls.emplace_back("second"); });
    set_sinks({second, first});
    log.log(log_level::trace, "");
    EXPECT_THAT(calls, ElementsAre("second", "first"));
    EXPECT_EQ(set_sinks({first}), (sink_list{second, first}));
    EXPECT_EQ(get_sinks(), sink_list{first});
    set_sinks({});
    log.log(log_level::trace, "");
    EXPECT_EQ(calls.size(), 2U);
}

TEST_F(sinks, must_not_be_null_nor_empty) {
    const auto before = get_sinks();
    EXPECT_EQ(error_text<std::invalid_argument>([] { set_sinks({nullptr}); }), "A log sink must not be null");
    EXPECT_EQ(error_text<std::invalid_argument>([] { make_callback_sink(nullptr); }),
              "The function of a log sink must not be empty");
    EXPECT_EQ(get_sinks(), before);
}

TEST_F(sinks, have_a_level_of_their_own) {
    std::vector<std::string> all;
    std::vector<std::string> errors;
    const auto quiet = collect_into(errors);
    quiet->set_level(log_level::error);
    EXPECT_EQ(quiet->level(), log_level::error);
    set_sinks({quiet, collect_into(all)});
    log.log(log_level::notice, "notice");
    log.log(log_level::error, "error");
    EXPECT_THAT(errors, ElementsAre("error"));
    EXPECT_THAT(all, ElementsAre("notice", "error"));
}

TEST_F(sinks, one_that_throws_does_not_keep_the_message_from_the_others) {
    std::vector<std::string> seen;
    set_sinks({make_callback_sink([](const record&) { throw std::runtime_error("disk full"); }),
               collect_into(seen), make_callback_sink([](const record&) { throw std::bad_alloc(); }),
               collect_into(seen), make_callback_sink([](const record&) { throw 7; })});
    const auto before = failure_count();
    log.log(log_level::trace, "message");
    EXPECT_EQ(failure_count(), before + 3);
    EXPECT_THAT(seen, ElementsAre("message", "message"));
}

TEST_F(sinks, one_that_logs_reaches_the_others_but_never_itself) {
    std::vector<std::string> first_seen;
    std::vector<std::string> second_seen;
    set_sinks({make_callback_sink([&](const record& message) {
                   first_seen.emplace_back(message.text);
                   log.log(log_level::trace, "first saw {}", message.text);
               }),
               make_callback_sink([&](const record& message) {
                   second_seen.emplace_back(message.text);
                   log.log(log_level::trace, "second saw {}", message.text);
               })});
    log.log(log_level::trace, "x");
    EXPECT_THAT(first_seen, ElementsAre("x", "second saw x"));
    EXPECT_THAT(second_seen, ElementsAre("first saw x", "x"));
}

TEST_F(sinks, one_may_replace_the_sinks_while_it_is_called) {
    std::vector<std::string> seen;
    set_sinks({make_callback_sink([&](const record&) { set_sinks({collect_into(seen)}); })});
    log.log(log_level::trace, "one");
    log.log(log_level::trace, "two");
    EXPECT_THAT(seen, ElementsAre("two"));
}

class flushing_sink : public sink {
public:
    void write(const record&) override { get_logger("sinks").log(log_level::trace, "never"); }
    void flush() override {
        ++flushes;
        throw std::runtime_error("cannot flush");
    }
    int flushes = 0;
};

TEST_F(sinks, flush_reaches_each_of_them) {
    const auto first = std::make_shared<flushing_sink>();
    const auto second = std::make_shared<flushing_sink>();
    set_sinks({first, make_callback_sink([](const record&) {}), second});
    const auto before = failure_count();
    flush_sinks();
    EXPECT_EQ(first->flushes, 1);
    EXPECT_EQ(second->flushes, 1);
    EXPECT_EQ(failure_count(), before + 2);
}

TEST_F(sinks, can_be_replaced_while_others_log) {
    std::atomic<int> count{0};
    std::atomic<bool> stop{false};
    const auto counting = [&count] { return make_callback_sink([&count](const record&) { ++count; }); };
    set_sinks({counting()});
    int sent = 0;
    std::thread worker([&] {
        for (; !stop || sent < 1000; ++sent)
            log.log(log_level::trace, "message");
    });
    for (int i = 0; i < 1000; ++i)
        set_sinks({counting()});
    stop = true;
    worker.join();
    EXPECT_EQ(count, sent);
}

// --- rotating files
// ---------------------------------------------------------------------------------------------

class log_file : public sinks {
protected:
    void SetUp() override {
        sinks::SetUp();
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    void TearDown() override {
        sinks::TearDown();
        std::filesystem::remove_all(folder);
    }

    static std::vector<std::string> lines_of(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        const std::string all((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        std::vector<std::string> lines;
        std::string line;
        for (const char c : all) {
            if (c == '\n') {
                if (line.ends_with('\r')) line.pop_back();
                lines.push_back(std::exchange(line, {}));
            } else {
                line += c;
            }
        }
        return lines;
    }

    /// The line with a 0 for every number; time zones west of Greenwich are brought to the east of it.
    static std::string shape(const std::string& line) {
        std::string result;
        for (const char c : line) {
            if (c < '0' || c > '9')
                result += c;
            else if (!result.ends_with('0'))
                result += '0';
        }
        if (const auto west = result.find(" -"); west != std::string::npos) result[west + 1] = '+';
        return result;
    }

    rotating_file_options options(std::size_t max_bytes = 1'000'000, std::size_t max_files = 3) const {
        rotating_file_options result;
        result.path = folder / u8"Ger\u00E4t.txt";
        result.max_bytes = max_bytes;
        result.max_files = max_files;
        return result;
    }

    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() /
        (std::string("QVLog_test_") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(log_file, holds_whole_lines_that_are_there_at_once) {
    set_sinks({make_rotating_file_sink(options())});
    std::thread([&] {
        set_current_thread_name("worker[0]");
        log.log(log_level::notice, "Ger\xC3\xA4t {}", 1);
    }).join();
    log.log(log_level::critical, "two");
    const auto lines = lines_of(options().path);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(shape(lines[0]), "[0-0-0 0:0:0.0 +0:0] [notice] [sinks] [worker[0] 0] Ger\xC3\xA4t 0");
    EXPECT_EQ(shape(lines[1]), "[0-0-0 0:0:0.0 +0:0] [critical] [sinks] [0] two");
    EXPECT_EQ(lines[1].find(']'), std::string_view("[2026-01-31 23:59:59.999 +00:00").size());
}

TEST_F(log_file, shows_hostile_text_harmless) {
    set_sinks({make_rotating_file_sink(options())});
    constexpr char text[] = "a\x1b[31mb\0c\td\r\n[error] forged\re\x7F\xFF\r\n\r\n";
    log.log(log_level::error, "{}", std::string_view(text, sizeof text - 1));
    const auto lines = lines_of(options().path);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].ends_with("] a\\x1b[31mb\\x00c\td")) << lines[0];
    EXPECT_EQ(lines[1], "    [error] forged\\x0de\\x7f\xFF");
}

TEST_F(log_file, an_existing_one_is_continued) {
    set_sinks({make_rotating_file_sink(options())});
    log.log(log_level::error, "one");
    set_sinks({make_rotating_file_sink(options())});
    log.log(log_level::error, "two");
    set_sinks({});
    EXPECT_EQ(lines_of(options().path).size(), 2U);
}

TEST_F(log_file, is_renamed_when_full_and_old_ones_go) {
    constexpr std::size_t max_bytes = 500;
    set_sinks({make_rotating_file_sink(options(max_bytes, 2))});
    for (int i = 0; i < 100; ++i)
        log.log(log_level::error, "message {}", i);
    set_sinks({});
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        EXPECT_LE(entry.file_size(), max_bytes);
        ++files;
    }
    EXPECT_EQ(files, 3U);
    EXPECT_TRUE(lines_of(options().path).back().ends_with("message 99"));
    // What remains are the last messages, none missing between them.
    auto lines = lines_of(folder / u8"Ger\u00E4t.2.txt");
    for (const auto& path : {folder / u8"Ger\u00E4t.1.txt", options().path})
        for (std::string& line : lines_of(path))
            lines.push_back(std::move(line));
    int number = 100 - static_cast<int>(lines.size());
    for (const std::string& line : lines)
        EXPECT_TRUE(line.ends_with("message " + std::to_string(number++))) << line;
}

TEST_F(log_file, less_urgent_messages_may_wait_for_a_flush) {
    auto lazy = options();
    lazy.flush_level = log_level::error;
    set_sinks({make_rotating_file_sink(lazy)});
    log.log(log_level::info, "one");
    flush_sinks();
    EXPECT_EQ(lines_of(lazy.path).size(), 1U);
    log.log(log_level::info, "two");
    log.log(log_level::error, "three");
    EXPECT_EQ(lines_of(lazy.path).size(), 3U);
}

TEST_F(log_file, threads_write_whole_lines) {
    set_sinks({make_rotating_file_sink(options())});
    std::vector<std::thread> workers;
    workers.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        workers.emplace_back([this] {
            for (int message = 0; message < 200; ++message)
                log.log(log_level::info, "{}", std::string(100, 'x'));
        });
    for (std::thread& worker : workers)
        worker.join();
    const auto lines = lines_of(options().path);
    EXPECT_EQ(lines.size(), 800U);
    for (const std::string& line : lines)
        EXPECT_TRUE(line.starts_with('[') && line.ends_with("] " + std::string(100, 'x'))) << line;
}

TEST_F(log_file, that_cannot_be_is_refused) {
    const auto text = [](const rotating_file_options& wrong) {
        return error_text<std::invalid_argument>([&] { make_rotating_file_sink(wrong); });
    };
    auto wrong = options();
    wrong.path.clear();
    EXPECT_EQ(text(wrong), "The path of a log file must not be empty");
    EXPECT_EQ(text(options(0)), "The size of a log file must not be zero");
    EXPECT_EQ(text(options(1, 200'001)), "Too many log files");
    wrong = options();
    wrong.path = folder; // a folder cannot be written like a file
    EXPECT_NE(error_text<std::runtime_error>([&] { make_rotating_file_sink(wrong); }), "none");
}

} // namespace
