#include <QVLog/QVLog.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace QV::Logging;

/// Puts the write end of a pipe in the place of standard error.
class console_sink : public testing::Test {
protected:
    void SetUp() override {
        saved_ = dup(STDERR_FILENO);
        ASSERT_EQ(pipe(ends_.data()), 0);
        dup2(ends_[1], STDERR_FILENO);
        close(ends_[1]);
        old_sinks_ = set_sinks({make_console_sink()});
    }
    void TearDown() override {
        set_sinks(old_sinks_);
        dup2(saved_, STDERR_FILENO);
        close(saved_);
        if (ends_[0] >= 0) close(ends_[0]);
    }

    /// What was written; ends the redirection.
    std::string read_all() {
        dup2(saved_, STDERR_FILENO);
        std::string all;
        std::array<char, 4096> part{};
        for (ssize_t size = 0; (size = read(ends_[0], part.data(), part.size())) > 0;)
            all.append(part.data(), static_cast<std::size_t>(size));
        return all;
    }

    std::array<int, 2> ends_{-1, -1};

private:
    int saved_ = -1;
    sink_list old_sinks_;
};

TEST_F(console_sink, writes_a_line_to_standard_error) {
    errno = ENOENT;
    get_logger("System").log(log_level::error, "Ger\xC3\xA4t {}", 1);
    EXPECT_EQ(errno, ENOENT);
    const std::string text = read_all();
    EXPECT_TRUE(text.starts_with('[')) << text;
    EXPECT_NE(text.find("] [error] [System] ["), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("] Ger\xC3\xA4t 1\n")) << text;
}

TEST_F(console_sink, a_message_larger_than_the_pipe_arrives_whole) {
    const std::string large(300'000, 'x');
    std::string text;
    std::thread reader([&] {
        std::array<char, 4096> part{};
        while (text.empty() || text.back() != '\n') {
            const ssize_t size = read(ends_[0], part.data(), part.size());
            ASSERT_GT(size, 0);
            text.append(part.data(), static_cast<std::size_t>(size));
        }
    });
    get_logger("System").log(log_level::error, "{}", large);
    reader.join();
    EXPECT_TRUE(text.ends_with("] " + large + "\n"));
}

TEST_F(console_sink, a_broken_pipe_is_counted) {
    const auto old_handler = std::signal(SIGPIPE, SIG_IGN);
    close(ends_[0]);
    ends_[0] = -1;
    const auto before = failure_count();
    get_logger("System").log(log_level::error, "nobody reads");
    EXPECT_EQ(failure_count(), before + 1);
    std::signal(SIGPIPE, old_handler);
}

TEST_F(console_sink, without_standard_error_nothing_is_written) {
    close(STDERR_FILENO);
    const auto before = failure_count();
    get_logger("System").log(log_level::error, "nowhere to go");
    EXPECT_EQ(failure_count(), before);
}

} // namespace
