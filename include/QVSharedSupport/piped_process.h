#pragma once

#include <QVSharedSupport/export.h>
#include <QVSharedSupport/filesystem.h>
#include <QVSharedSupport/pipe.h>
#include <QVSharedSupport/process_handle.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace QV {

/// A child process whose standard input, output and error are pipes to this one.
///
///     QV::piped_process child(executor, L"C:\\tools\\helper.exe", {"--fast"});
///     boost::asio::write(child.standard_input, boost::asio::buffer("go\n", 3));
///     child.standard_input.close(); // the child sees the end of its input
///     boost::asio::async_read(child.standard_output, ...);
///
/// The child starts without a window, in this process's environment and current directory. It inherits its
/// three standard handles and those listed in the options, and nothing else, also when several threads spawn
/// at once.
///
/// Thread safety: one thread at a time for each member; the three streams are independent of each other.
/// Blocking: destruction and move assignment wait until a held child has ended. A child that writes blocks
/// when its pipe is full, so read both outputs of a talkative one. Lifetime: the executor's context must
/// outlive the object.
struct QV_EXPORT piped_process {
    /// What to start, and how.
    struct options {
        /// Full path of the program. It is the child's first command-line word as well.
        filesystem::path path;
        /// Further command-line words in UTF-8; the child's `argv` holds exactly these.
        std::vector<std::string> arguments;
        /// Further handles that the child inherits. They are closed here once the child runs, or could not be
        /// started.
        std::vector<pipe::handle> inherited_handles;
        /// Whether this process debugs the child (`DEBUG_ONLY_THIS_PROCESS`). The child then stops at each
        /// debug event, its exit included: it does not end before its debugger, the thread that started it,
        /// has continued that one, so its owner must not be destroyed on that thread before.
        bool debug_only_this_process = false;
    };

    /// No child; three streams that are not open.
    explicit piped_process(boost::asio::any_io_executor executor);
    /// Starts a child.
    /// @throws QV::win32_error with the function that failed: "CreateNamedPipeW", "CreateFileW",
    ///     "SetHandleInformation", "InitializeProcThreadAttributeList", "UpdateProcThreadAttribute",
    ///     "CreateProcessW", "CloseHandle". No child and no pipe is left behind then.
    /// @throws std::invalid_argument "Command-line word contains a NUL character" for a path or an argument
    /// that has one
    piped_process(boost::asio::any_io_executor executor, options launch);
    /// Starts `path` with `arguments` and no further handles. @throws as above
    piped_process(boost::asio::any_io_executor executor, filesystem::path path,
                  std::vector<std::string> arguments);
    /// Leaves `other` without child and streams.
    piped_process(piped_process&& other) noexcept;
    /// Ends a child already held, then takes over member by member. @throws as `process_handle::close()`
    piped_process& operator=(piped_process&& other);
    /// Closes the streams, then ends the child: it is killed with exit code 0 if it still runs, and waited
    /// for.
    /// @throws as `~process_handle()`
    ~piped_process() noexcept(false);

    /// Options that hand named handles to the child: for each, the word `name=value` follows `arguments`, the
    /// value in signed decimal. @throws std::bad_alloc; the handles are closed then
    static options make_options(filesystem::path path, std::vector<std::string> arguments,
                                std::unordered_map<std::string, pipe::handle> handles);

    process_handle process;
    pipe::stream standard_input;  ///< what is written here, the child reads
    pipe::stream standard_output; ///< reads what the child writes
    pipe::stream standard_error;  ///< reads what the child writes
};

} // namespace QV
