#include <QVSharedSupport/piped_process.h>

#include "command_line.h"
#include "process_attributes.h"
#include "utf.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

#include <cstdint>
#include <stdexcept>

namespace QV {
namespace {

std::string path_word(const filesystem::path& path) {
    const std::wstring& native = path.native();
    return utf::to_utf8(std::u16string(native.begin(), native.end()), utf::mode::lenient);
}

std::wstring command_line(const piped_process::options& options) {
    const std::u16string line = make_command_line(path_word(options.path), options.arguments);
    return {line.begin(), line.end()};
}

// Starts the child. `handles` are what it inherits; the first three become its standard handles.
process_handle start(const boost::asio::any_io_executor& executor, const piped_process::options& options,
                     std::vector<void*> handles) {
    std::wstring line = command_line(options);
    for (void* const handle : handles) {
        if (!SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
            throw win32_error("SetHandleInformation");
    }
    const process_attributes attributes(handles);
    STARTUPINFOEXW startup = {};
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = handles[0];
    startup.StartupInfo.hStdOutput = handles[1];
    startup.StartupInfo.hStdError = handles[2];
    startup.lpAttributeList = static_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.get());

    DWORD flags = CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT;
    if (options.debug_only_this_process) flags |= DEBUG_ONLY_THIS_PROCESS;
    // Made before there is a child, so that nothing can fail between its start and its having an owner.
    process_handle process(executor);
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(options.path.c_str(), line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr,
                        &startup.StartupInfo, &started))
        throw win32_error("CreateProcessW");
    process.assign(started.hProcess);
    if (!CloseHandle(started.hThread)) throw win32_error("CloseHandle");
    return process;
}

} // namespace

piped_process::piped_process(boost::asio::any_io_executor executor)
    : process(executor), standard_input(executor), standard_output(executor), standard_error(executor) {}

piped_process::piped_process(boost::asio::any_io_executor executor, options launch)
    : piped_process(executor) {
    pipe::write_pipe input = pipe::make_write_pipe(executor);
    pipe::read_pipe output = pipe::make_read_pipe(executor);
    pipe::read_pipe error = pipe::make_read_pipe(executor);
    std::vector<void*> handles = {input.read_end.get(), output.write_end.get(), error.write_end.get()};
    for (const pipe::handle& extra : launch.inherited_handles)
        handles.push_back(extra.get());
    process = start(executor, launch, std::move(handles));
    standard_input = std::move(input.write_end);
    standard_output = std::move(output.read_end);
    standard_error = std::move(error.read_end);
    // The child's ends close here, with the pipes and the options: from now on only the child holds them.
}

piped_process::piped_process(boost::asio::any_io_executor executor, filesystem::path path,
                             std::vector<std::string> arguments)
    : piped_process(std::move(executor), options{std::move(path), std::move(arguments), {}, false}) {}

piped_process::piped_process(piped_process&&) noexcept = default;
piped_process& piped_process::operator=(piped_process&&) = default;
piped_process::~piped_process() noexcept(false) = default;

piped_process::options piped_process::make_options(filesystem::path path, std::vector<std::string> arguments,
                                                   std::unordered_map<std::string, pipe::handle> handles) {
    options made{std::move(path), std::move(arguments), {}, false};
    made.arguments.reserve(made.arguments.size() + handles.size());
    made.inherited_handles.reserve(handles.size());
    for (auto& [name, handle] : handles) {
        made.arguments.push_back(name + '=' + std::to_string(reinterpret_cast<std::intptr_t>(handle.get())));
        made.inherited_handles.push_back(std::move(handle));
    }
    return made;
}

} // namespace QV
