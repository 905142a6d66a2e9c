#include <QVLog/QVLog.h>

#include <gtest/gtest.h>

#include <csignal>

namespace {

// The failures that these tests provoke would fill the screen; a test that looks at the log collects it
// itself.
class quiet_log : public testing::Environment {
    void SetUp() override {
        QV::Logging::set_sinks({});
#if defined(SIGPIPE)
        // Writing to a pipe that nobody reads is an error to look at, as it is on Windows, not the end of the
        // process.
        std::signal(SIGPIPE, SIG_IGN);
#endif
    }
};

[[maybe_unused]] const testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(new quiet_log);

} // namespace
