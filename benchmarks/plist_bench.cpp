// How quickly XML property lists are read and written, as a ratio to libplist in the same run:
//
//     plist_bench FILE...
//
// Reading includes destroying what was read. Each figure is the best of many rounds in turn, so that other
// work on the machine disturbs both alike.
#include <CoreFoundation/CoreFoundation.h>

#include <plist/plist.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <string>

namespace {

using seconds = std::chrono::duration<double>;

double time_of(const std::function<void()>& work, int times) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i)
        work();
    return seconds(std::chrono::steady_clock::now() - start).count() / times;
}

struct result {
    double ours = std::numeric_limits<double>::infinity();
    double theirs = std::numeric_limits<double>::infinity();
};

result compare(const std::function<void()>& ours, const std::function<void()>& theirs) {
    constexpr int rounds = 25;
    constexpr double round_length = 0.02;
    const int times = std::max(1, static_cast<int>(round_length / std::max(time_of(theirs, 1), 1e-7)));
    result best;
    for (int i = 0; i < rounds; ++i) {
        best.ours = std::min(best.ours, time_of(ours, times));
        best.theirs = std::min(best.theirs, time_of(theirs, times));
    }
    return best;
}

void print(const char* what, const result& best, std::size_t bytes) {
    constexpr double mega = 1e6;
    const auto size = static_cast<double>(bytes);
    std::printf("  %-5s %8.1f MB/s, libplist %8.1f MB/s: %.2f times\n", what, size / best.ours / mega,
                size / best.theirs / mega, best.theirs / best.ours);
}

[[noreturn]] void give_up(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(EXIT_FAILURE);
}

void run(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                        static_cast<CFIndex>(bytes.size()));
    const CFPropertyListRef value = CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr);
    plist_t node = nullptr;
    plist_from_xml(bytes.data(), size, &node);
    if (value == nullptr || node == nullptr) give_up("cannot read " + path.string());

    std::printf("%s (%zu bytes)\n", path.filename().string().c_str(), bytes.size());
    print("read",
          compare([&] { CFRelease(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr)); },
                  [&] {
                      plist_t read = nullptr;
                      plist_from_xml(bytes.data(), size, &read);
                      plist_free(read);
                  }),
          bytes.size());
    print("write",
          compare([&] { CFRelease(CFPropertyListCreateXMLData(nullptr, value)); },
                  [&] {
                      char* text = nullptr;
                      std::uint32_t length = 0;
                      plist_to_xml(node, &text, &length);
                      std::free(text);
                  }),
          bytes.size());
    plist_free(node);
    CFRelease(value);
    CFRelease(data);
}

} // namespace

int main(int count, char** arguments) {
    if (count < 2) give_up("usage: plist_bench FILE...");
    for (int i = 1; i < count; ++i)
        run(arguments[i]);
    return EXIT_SUCCESS;
}
