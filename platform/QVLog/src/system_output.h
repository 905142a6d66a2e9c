#pragma once

#include <string_view>

/// What logging needs from the system; one source for each side.
namespace QV::Logging::system_output {

/// Writes UTF-8 text to the process's standard error, in one piece if the system does it so. Does nothing in
/// a process that has none. @throws std::system_error, std::bad_alloc
void write_standard_error(std::string_view text);

/// Puts errno and the system's last error back as they were: code that logs a failure before it reports it
/// must not report another one.
class error_keeper {
public:
    error_keeper() noexcept;
    error_keeper(const error_keeper&) = delete;
    error_keeper& operator=(const error_keeper&) = delete;
    ~error_keeper();

private:
    int errno_;
    unsigned long last_error_;
};

} // namespace QV::Logging::system_output
