#include "system_output.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace QV::Logging::system_output {

void write_standard_error(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EBADF) {
            return; // closed: a process without a standard error stream
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::system_category(), "write");
        }
    }
}

error_keeper::error_keeper() noexcept : errno_(errno), last_error_(0) {}

error_keeper::~error_keeper() {
    errno = errno_;
}

} // namespace QV::Logging::system_output
