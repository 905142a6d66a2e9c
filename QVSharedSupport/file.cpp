#include <QVSharedSupport/file.h>

#include "utf.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read_at.hpp>
#include <boost/system/system_error.hpp>

#include <fmt/format.h>

#include <windows.h>

#include <exception>
#include <new>
#include <string>
#include <utility>

namespace QV::file {
namespace {

using asio_helpers::ec_wrapper;
using boost::system::error_code;

error_code system_error_code(DWORD value) noexcept {
    return {static_cast<int>(value), boost::system::system_category()};
}

/// The path for messages, in the file-system library's default conversion.
std::string shown(const filesystem::path& path) {
    try {
        return path.string();
    } catch (const boost::system::system_error&) {
        // A name beyond the system's code page must not hide what is to be said about the file.
        const std::wstring& native = path.native();
        return utf::to_utf8(std::u16string(native.begin(), native.end()), utf::mode::lenient);
    }
}

/// Reports `code`; its text is only made where it is to be thrown.
template <class Function>
void report(const ec_wrapper& ec, const error_code& code, Function make_text) {
    if (ec.throws())
        ec.report(code, make_text());
    else
        ec.report(code, "");
}

/// A way to open a file, and what to say if that fails.
struct open_mode {
    DWORD access;
    DWORD disposition;
    DWORD flags;
    const char* prefix;
    const char* suffix;
};

constexpr open_mode reading = {GENERIC_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, "when opening file '",
                               "' for reading"};
constexpr open_mode creating = {GENERIC_WRITE, CREATE_NEW, 0, "when creating new file '", "' for writing"};
// With this right alone, the system lets every write land at the end.
constexpr open_mode appending = {FILE_APPEND_DATA, OPEN_ALWAYS, 0, "when opening file '", "' for appending"};
constexpr open_mode clobbering = {GENERIC_WRITE, CREATE_ALWAYS, 0, "when clobbering file '", "' for writing"};

template <const open_mode& mode>
void* open(const boost::filesystem::path& path, ec_wrapper ec) {
    DWORD failure = ERROR_INVALID_NAME;
    // The system would take what stands before a NUL, and so open another file than the one named.
    if (path.native().find(L'\0') == std::wstring::npos) {
        // Nobody else may write; a file that is in use can still be renamed or deleted.
        const HANDLE handle =
            CreateFileW(path.c_str(), mode.access, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                        mode.disposition, mode.flags | FILE_FLAG_OVERLAPPED, nullptr);
        if (handle != INVALID_HANDLE_VALUE) return handle;
        failure = GetLastError();
    }
    report(ec, system_error_code(failure), [&] { return mode.prefix + shown(path) + mode.suffix; });
    return INVALID_HANDLE_VALUE;
}

/// Ends what is under way, for the handle is to be closed. Handlers then learn that they were aborted, and
/// not what the system makes of the loss: of a pipe it would say that the other end broke it.
void abort_all(handle_type& handle) noexcept {
    error_code ignored;
    handle.cancel(ignored);
}

} // namespace

base::base() : handle_(non_async_executor()) {}

base::base(base&& other) noexcept : path_(std::move(other.path_)), handle_(std::move(other.handle_)) {
    other.path_.clear();
}

base& base::operator=(base&& other) noexcept {
    if (this != &other) {
        path_ = std::move(other.path_);
        other.path_.clear();
        abort_all(handle_);
        handle_ = std::move(other.handle_);
    }
    return *this;
}

base::~base() {
    abort_all(handle_);
}

bool base::is_open() const noexcept {
    return handle_.is_open();
}

void base::assign(const filesystem::path& path, void* native_handle, ec_wrapper ec) {
    struct closer {
        void* handle;
        ~closer() {
            if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
        }
    } unbound{native_handle};
    filesystem::path own = path;
    error_code code;
    handle_.assign(native_handle, code);
    if (!code) {
        unbound.handle = INVALID_HANDLE_VALUE;
        path_ = std::move(own);
    }
    ec.report(code, "assign");
}

void base::open_and_assign(const filesystem::path& path, opener open, ec_wrapper ec) {
    void* const native = open(path, ec);
    if (native != INVALID_HANDLE_VALUE) assign(path, native, ec);
}

void base::close_handle() {
    abort_all(handle_);
    handle_.close();
}

readable_file::readable_file() = default;

readable_file::readable_file(const filesystem::path& path) {
    open_and_assign(path, open<reading>, ec_wrapper::throwing());
}

readable_file::readable_file(const filesystem::path& path, error_code& ec) {
    open_and_assign(path, open<reading>, ec);
}

readable_file::readable_file(readable_file&& other) noexcept = default;
readable_file& readable_file::operator=(readable_file&& other) noexcept = default;
readable_file::~readable_file() = default;

void readable_file::close() {
    close_handle();
}

unsigned long long readable_file::get_total_size() {
    return total_size(ec_wrapper::throwing());
}

unsigned long long readable_file::get_total_size(error_code& ec) {
    return total_size(ec);
}

std::vector<std::byte> readable_file::read_whole_file(unsigned long long max_size) {
    return whole_file(max_size, ec_wrapper::throwing());
}

std::vector<std::byte> readable_file::read_whole_file(unsigned long long max_size, error_code& ec) {
    return whole_file(max_size, ec);
}

unsigned long long readable_file::total_size(ec_wrapper ec) {
    FILE_STANDARD_INFO info = {};
    if (!GetFileInformationByHandleEx(get_handle().native_handle(), FileStandardInfo, &info, sizeof(info))) {
        const error_code failure = system_error_code(GetLastError());
        report(ec, failure, [&] { return "when getting size of file '" + shown(get_path()) + "'"; });
        return 0;
    }
    return static_cast<unsigned long long>(info.EndOfFile.QuadPart);
}

std::vector<std::byte> readable_file::whole_file(unsigned long long max_size, ec_wrapper ec) {
    error_code failure;
    const unsigned long long size = ec.throws() ? total_size(ec) : get_total_size(failure);
    if (failure) {
        ec.report(failure, "");
        return {};
    }
    if (size > max_size) {
        report(ec, errc::too_large, [&] {
            return fmt::format("'{}' is {} bytes (max size is {} bytes)", shown(get_path()), size, max_size);
        });
        return {};
    }
    std::vector<std::byte> bytes;
    try {
        bytes.resize(size);
    } catch (const std::exception& reason) {
        report(ec, errc::no_memory, [&] {
            return fmt::format("while allocating {} bytes for '{}': {}", size, shown(get_path()),
                               reason.what());
        });
        return {};
    }
    // Asio by itself reads in pieces of 64 KiB, each of them a call into the system.
    constexpr std::size_t piece_bytes = 16 * 1024 * 1024;
    boost::asio::read_at(
        get_handle(), 0, boost::asio::buffer(bytes),
        [](const error_code& code, std::size_t) { return code ? 0 : piece_bytes; }, failure);
    if (failure) bytes.clear();
    ec.report(failure, "read");
    return bytes;
}

writable_file::writable_file() = default;
writable_file::writable_file(writable_file&& other) noexcept = default;
writable_file& writable_file::operator=(writable_file&& other) noexcept = default;
writable_file::~writable_file() = default;

void writable_file::close() {
    close_handle();
}

writable_file writable_file::open_with(opener open, const filesystem::path& path, ec_wrapper ec) {
    writable_file file;
    file.open_and_assign(path, open, ec);
    return file;
}

writable_file writable_file::create_new(const filesystem::path& path) {
    return open_with(open<creating>, path, ec_wrapper::throwing());
}

writable_file writable_file::create_new(const filesystem::path& path, error_code& ec) {
    return open_with(open<creating>, path, ec);
}

writable_file writable_file::open_append(const filesystem::path& path) {
    return open_with(open<appending>, path, ec_wrapper::throwing());
}

writable_file writable_file::open_append(const filesystem::path& path, error_code& ec) {
    return open_with(open<appending>, path, ec);
}

writable_file writable_file::open_clobber(const filesystem::path& path) {
    return open_with(open<clobbering>, path, ec_wrapper::throwing());
}

writable_file writable_file::open_clobber(const filesystem::path& path, error_code& ec) {
    return open_with(open<clobbering>, path, ec);
}

} // namespace QV::file
