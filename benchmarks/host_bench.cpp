// What each fact about the computer costs, so that a host knows which it may ask for often: microseconds a
// call, and how many times the bare system call of the same kind that is, where there is one, made in the
// same run.
//
// Asking and bare call take turns, and the best of the rounds counts, so that a busy machine hurts both
// alike.
#include <QVSharedSupport/debug.h>
#include <QVSharedSupport/host_info.h>

#include <winsock2.h>

#include <windows.h>

#include <iphlpapi.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {

using QV::SharedSupport::Debug::get_backtrace;
using clock_type = std::chrono::steady_clock;
using call = std::function<void()>;

constexpr int rounds = 5;

/// Microseconds a call, over as many as fit into 20 ms.
double microseconds(const call& work) {
    const auto start = clock_type::now();
    double taken = 0;
    int calls = 0;
    do {
        work();
        ++calls;
        taken = std::chrono::duration<double, std::micro>(clock_type::now() - start).count();
    } while (taken < 20'000);
    return taken / calls;
}

void compare(const char* name, const call& ask, const char* bare_name = nullptr, const call& bare = nullptr) {
    double best = std::numeric_limits<double>::infinity();
    double best_bare = best;
    for (int round = 0; round != rounds; ++round) {
        best = std::min(best, microseconds(ask));
        if (bare) best_bare = std::min(best_bare, microseconds(bare));
    }
    std::printf("%-36s %10.2f us", name, best);
    if (bare) std::printf("  %6.2f times %s (%.2f us)", best / best_bare, bare_name, best_bare);
    std::printf("\n");
    std::fflush(stdout);
}

alignas(16) std::array<std::byte, 262144> buffer;

template <class T>
T* in_buffer() {
    return static_cast<T*>(static_cast<void*>(buffer.data()));
}

ULONG buffer_size() {
    return static_cast<ULONG>(buffer.size());
}

void bare_file_version() {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA("kernel32.dll", &ignored);
    if (size > buffer.size() || !GetFileVersionInfoA("kernel32.dll", 0, size, buffer.data())) std::abort();
}

void bare_adapters() {
    ULONG size = buffer_size();
    GetAdaptersInfo(in_buffer<IP_ADAPTER_INFO>(), &size);
}

void bare_addresses() {
    ULONG size = buffer_size();
    GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, in_buffer<IP_ADAPTER_ADDRESSES>(), &size);
}

void bare_token() {
    HANDLE token = nullptr;
    DWORD size = 0;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) std::abort();
    GetTokenInformation(token, TokenUser, buffer.data(), buffer_size(), &size);
    CloseHandle(token);
}

void bare_key() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion", 0, KEY_READ,
                      &key) == ERROR_SUCCESS)
        RegCloseKey(key);
}

void bare_stack() {
    std::array<void*, 256> frames = {};
    RtlCaptureStackBackTrace(0, static_cast<DWORD>(frames.size()), frames.data(), nullptr);
}

// Where there is no adapter, what it costs to be told so.
void ask_mac_address() {
    try {
        (void)QV::SharedSupport::get_primary_mac_address();
    } catch (const std::runtime_error&) {
        return;
    }
}

} // namespace

int wmain() {
    using namespace QV::SharedSupport;
    compare("get_os_arch", [] { (void)get_os_arch(); });
    compare(
        "get_os_version", [] { (void)get_os_version(); }, "GetFileVersionInfoA", &bare_file_version);
    compare("get_os_bitness, get_os_family", [] {
        (void)get_os_bitness();
        (void)get_os_family();
    });
    compare("get_primary_mac_address", &ask_mac_address, "GetAdaptersInfo", &bare_adapters);
    compare(
        "get_local_ip_addresses", [] { (void)get_local_ip_addresses(); }, "GetAdaptersAddresses",
        &bare_addresses);
    compare(
        "QXSystemGetUserIdentifier", [] { (void)QXSystemGetUserIdentifier(); }, "GetTokenInformation",
        &bare_token);
    compare(
        "QXSystemSettingIsWin7AutoDriver...", [] { (void)QXSystemSettingIsWin7AutoDriverDownloadEnabled(); },
        "RegOpenKeyExW", &bare_key);
    compare("get_hardware_info", [] { (void)QV::get_hardware_info(); });
    compare(
        "get_backtrace", [] { (void)get_backtrace(); }, "RtlCaptureStackBackTrace", &bare_stack);
    return EXIT_SUCCESS;
}
