// How long opening a file and reading the whole of it takes, beside a loop around ReadFile and a
// std::ifstream.
#include <QVSharedSupport/file.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr unsigned long long limit = 0x40000000;

void check(bool good) {
    if (!good) std::abort();
}

std::size_t with_library(const std::filesystem::path& path) {
    QV::file::readable_file file(QV::filesystem::path(path.native()));
    return file.read_whole_file(limit).size();
}

std::size_t with_read_file(const std::filesystem::path& path) {
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    check(handle != INVALID_HANDLE_VALUE);
    LARGE_INTEGER size = {};
    check(GetFileSizeEx(handle, &size));
    std::vector<std::byte> bytes(static_cast<std::size_t>(size.QuadPart));
    std::size_t done = 0;
    while (done < bytes.size()) {
        DWORD read = 0;
        const auto wanted = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - done, 16 << 20));
        check(ReadFile(handle, bytes.data() + done, wanted, &read, nullptr) && read != 0);
        done += read;
    }
    CloseHandle(handle);
    return done;
}

std::size_t with_stream(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::vector<char> bytes(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    check(file.good());
    return bytes.size();
}

using method = std::size_t (*)(const std::filesystem::path&);

double seconds(method read, const std::filesystem::path& path, std::size_t size, int times) {
    const auto start = std::chrono::steady_clock::now();
    for (int time = 0; time != times; ++time)
        check(read(path) == size);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / times;
}

void run(const std::filesystem::path& path, std::size_t size, int times) {
    {
        std::ofstream file(path, std::ios::binary);
        const std::string piece(std::min<std::size_t>(size, 1 << 20), 'x');
        for (std::size_t done = 0; done != size; done += piece.size())
            file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    }
    constexpr method methods[] = {with_library, with_read_file, with_stream};
    constexpr double never = std::numeric_limits<double>::max();
    double best[] = {never, never, never};
    // By turns, so that what else the machine does meets all of them.
    for (int round = 0; round != 5; ++round)
        for (std::size_t index = 0; index != std::size(methods); ++index)
            best[index] = std::min(best[index], seconds(methods[index], path, size, times));
    std::printf("%11zu bytes: %10.1f us; ReadFile %10.1f us (%.2f of it), ifstream %10.1f us (%.2f of it)\n",
                size, best[0] * 1e6, best[1] * 1e6, best[0] / best[1], best[2] * 1e6, best[0] / best[2]);
}

} // namespace

int wmain() {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("qv file bench " + std::to_string(GetCurrentProcessId()));
    std::puts("open and read the whole of a file");
    run(path, 1024, 200);
    run(path, 1 << 20, 50);
    run(path, 256 << 20, 1);
    std::filesystem::remove(path);
    return EXIT_SUCCESS;
}
