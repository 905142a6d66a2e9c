#include <QVSharedSupport/pipe.h>

#include "pipe_creation.h"
#include "pipe_name.h"

#include <boost/random/random_device.hpp>

#include <windows.h>

#include <cstdint>
#include <mutex>

namespace QV::pipe {
namespace {

// The system's random numbers. Opening the device costs as much as starting a process, so it is opened once;
// it is never closed, because what it calls may be gone by the time that static objects are destroyed.
std::uint32_t draw() {
    struct shared_device {
        std::mutex mutex;
        boost::random::random_device device;
    };
    static shared_device& shared = *new shared_device;
    const std::lock_guard lock(shared.mutex);
    return shared.device();
}

stream make_stream(const boost::asio::any_io_executor& executor, handle& end) {
    stream made(executor, end.get());
    (void)end.release(); // the stream owns it now
    return made;
}

} // namespace

handle& handle::operator=(handle&& other) noexcept {
    if (this != &other) {
        destroy();
        native_ = other.release();
    }
    return *this;
}

handle::~handle() {
    destroy();
}

void handle::destroy() noexcept {
    if (void* const native = release()) CloseHandle(native);
}

handle_pair make_handle_pair() {
    const raw_ends ends = create_pipe(make_pipe_name(draw));
    return {ends.read_end, ends.write_end};
}

read_pipe make_read_pipe(boost::asio::any_io_executor executor) {
    const handle_pair ends = make_handle_pair();
    handle read_end(ends.read_end);
    handle write_end(ends.write_end);
    return {make_stream(executor, read_end), std::move(write_end)};
}

write_pipe make_write_pipe(boost::asio::any_io_executor executor) {
    const handle_pair ends = make_handle_pair();
    handle read_end(ends.read_end);
    handle write_end(ends.write_end);
    return {std::move(read_end), make_stream(executor, write_end)};
}

} // namespace QV::pipe
