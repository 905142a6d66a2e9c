#pragma once

namespace QV::Logging::inline v2 {

/// How much a message matters. The numbers are fixed: programs configure and compare them.
enum class log_level : int {
    /// Routine detail: what is being done, bytes received, a child's diagnostic output.
    trace = 0,
    /// Detail that helps to follow one operation.
    debug = 1,
    /// Something notable happened, or a feature is not available and the program goes on without it.
    info = 2,
    /// A summary of what was loaded or done.
    notice = 3,
    /// A failure that was handled.
    error = 4,
    /// Malformed input: a peer broke the protocol.
    critical = 5,
    /// As a threshold: nothing passes. Not the level of a message; one logged with it is discarded.
    off = 6,
};

} // namespace QV::Logging::inline v2
