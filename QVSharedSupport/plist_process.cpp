#include <QVSharedSupport/ec_wrapper.h>
#include <QVSharedSupport/plist_process.h>

#include "asio_helpers/log_lines.h"

#include <source_location>

namespace QV {

plist_process::plist_process(executor_type executor)
    : process_(std::move(executor)), stream_(std::move(process_.standard_output)) {}

plist_process::plist_process(executor_type executor, piped_process::options options)
    : process_(std::move(executor), std::move(options)), stream_(std::move(process_.standard_output)) {}

plist_process::plist_process(executor_type executor, filesystem::path path,
                             std::vector<std::string> arguments)
    : plist_process(std::move(executor),
                    piped_process::make_options(std::move(path), std::move(arguments), {})) {}

plist_process::plist_process(plist_process&&) noexcept = default;

plist_process& plist_process::operator=(plist_process&& other) {
    if (this != &other) {
        // First the read: the end of the old helper must not look like the end of its output.
        stream_.close();
        process_ = std::move(other.process_);
        stream_ = std::move(other.stream_);
    }
    return *this;
}

plist_process::~plist_process() noexcept(false) = default;

std::vector<plist_process::message_type> plist_process::read_all() {
    start_logging();
    return plist_process_stream<plist_stream>(stream_).read_all();
}

std::vector<plist_process::message_type> plist_process::read_all(boost::system::error_code& ec) {
    start_logging();
    return plist_process_stream<plist_stream>(stream_).read_all(ec);
}

void plist_process::async_read_all(read_handler handler) {
    start_logging();
    plist_process_stream<plist_stream>(stream_).async_read_(std::move(handler));
}

void plist_process::async_read(read_handler handler) {
    start_logging();
    plist_process_stream<plist_stream>(stream_).async_read(std::move(handler));
}

std::optional<plist_process::message_type> plist_process::read(boost::system::error_code& ec) {
    start_logging();
    return plist_process_stream<plist_stream>(stream_).read(ec);
}

plist_process::message_type plist_process::read() {
    boost::system::error_code ec;
    std::optional<message_type> message = read(ec);
    asio_helpers::ec_wrapper::throwing().report(ec, "read");
    return std::move(*message);
}

void plist_process::async_log_all_stderr(pipe::stream stream) {
    asio_helpers::async_log_lines(std::move(stream), std::source_location::current().function_name());
}

void plist_process::start_logging() {
    // Only the first read finds the stream still here.
    if (process_.standard_error.is_open()) async_log_all_stderr(std::move(process_.standard_error));
}

void plist_process::cancel() {
    stream_.cancel();
}

void plist_process::close() {
    process_.process.close();
}

void plist_process::kill() {
    process_.process.kill();
}

void plist_process::wait() {
    process_.process.wait();
}

bool plist_process::is_open() const noexcept {
    return process_.process.is_open();
}

std::optional<int> plist_process::get_error_code() const {
    return process_.process.get_error_code();
}

unsigned long plist_process::get_pid() const noexcept {
    return process_.process.get_pid();
}

plist_process::executor_type plist_process::get_executor() const noexcept {
    return stream_.get_executor();
}

} // namespace QV
