// A library that has used a file, whose object runs on the inline executor's context, and is unloaded then.
#include <QVSharedSupport/file.h>

#include <boost/asio/buffer.hpp>

#include <future>

#include <windows.h>

extern "C" __declspec(dllexport) bool use_file() {
    wchar_t own_path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, own_path, MAX_PATH);
    if (length == 0 || length == MAX_PATH) return false;
    QV::file::readable_file program{QV::filesystem::path(own_path)};
    // Asynchronously: the thread that Asio keeps for the context is at work then.
    char start[2] = {};
    std::promise<bool> done;
    program.get_handle().async_read_some_at(
        0, boost::asio::buffer(start),
        [&](const boost::system::error_code& ec, std::size_t count) { done.set_value(!ec && count == 2); });
    return done.get_future().get() && start[0] == 'M' && start[1] == 'Z';
}
