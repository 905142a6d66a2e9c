// Megabytes of text a second, beside other JSON libraries in the same run:
//     json_bench FILE...          (or a folder of .json files)
// The rounds of all libraries alternate, and the best round of each counts, in processor time, so that a busy
// machine hurts all alike.
#include <QVSharedSupport/JSON.h>

#include <boost/json.hpp>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <string>
#include <vector>

namespace {

std::size_t allocations = 0;
std::size_t in_use = 0;
std::size_t peak = 0;

// The size of a block stands before it.
constexpr std::size_t header = 16;

void* allocate(std::size_t size) {
    auto* const block = static_cast<std::size_t*>(std::malloc(size + header));
    if (block == nullptr) throw std::bad_alloc();
    *block = size;
    ++allocations;
    in_use += size;
    peak = std::max(peak, in_use);
    return block + header / sizeof(std::size_t);
}

void release(void* memory) noexcept {
    if (memory == nullptr) return;
    auto* const block = static_cast<std::size_t*>(memory) - header / sizeof(std::size_t);
    in_use -= *block;
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

namespace {

namespace JSON = QV::SharedSupport::JSON;

std::string read_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The speed of each piece of work in MB/s: the best of several rounds of at least 20 ms.
std::vector<double> measure(std::size_t size, const std::vector<std::function<void()>>& work) {
    std::vector<double> best(work.size(), 0);
    for (int round = 0; round != 9; ++round) {
        for (std::size_t i = 0; i != work.size(); ++i) {
            const std::clock_t start = std::clock();
            double seconds = 0;
            double done = 0;
            do {
                work[i]();
                done += static_cast<double>(size);
                seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
            } while (seconds < 0.02);
            best[i] = std::max(best[i], done / seconds / 1e6);
        }
    }
    return best;
}

struct totals {
    double parse_to_boost = 0;
    double write_to_rapidjson = 0;
    double least_parse_to_nlohmann = HUGE_VAL;
    int documents = 0;
};

void run(const std::filesystem::path& path, totals& sum) {
    const std::string text = read_file(path);
    std::size_t before = in_use;
    allocations = 0;
    peak = in_use;
    const auto value = JSON::parse(text);
    const std::size_t our_allocations = allocations;
    const std::size_t our_peak = peak - before;
    before = in_use;
    peak = in_use;
    const auto other = nlohmann::json::parse(text);
    const std::size_t nlohmann_peak = peak - before;
    rapidjson::Document document;
    document.Parse(text.c_str());

    const auto parsed =
        measure(text.size(), {[&] { (void)JSON::parse(text); },
                              [&] { [[maybe_unused]] const auto made = nlohmann::json::parse(text); },
                              [&] { (void)boost::json::parse(text); },
                              [&] {
                                  rapidjson::Document fresh;
                                  fresh.Parse(text.c_str());
                              },
                              [&] {
                                  rapidjson::BaseReaderHandler<> nothing;
                                  rapidjson::StringStream stream(text.c_str());
                                  rapidjson::Reader().Parse(stream, nothing);
                              }});
    const auto written =
        measure(text.size(), {[&] { (void)JSON::to_string(value); },
                              [&] { (void)JSON::to_pretty_string(value); }, [&] { (void)other.dump(); },
                              [&] {
                                  rapidjson::StringBuffer buffer;
                                  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
                                  document.Accept(writer);
                                  (void)std::string(buffer.GetString(), buffer.GetSize());
                              },
                              [&] {
                                  rapidjson::StringBuffer buffer;
                                  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
                                  document.Accept(writer);
                                  (void)std::string(buffer.GetString(), buffer.GetSize());
                              }});
    std::printf("%-22s parse %6.0f  nlohmann %6.0f  Boost %6.0f  RapidJSON %6.0f  bare reader %6.0f   %4.2f "
                "x nlohmann "
                "%4.2f x Boost\n",
                path.filename().string().c_str(), parsed[0], parsed[1], parsed[2], parsed[3], parsed[4],
                parsed[0] / parsed[1], parsed[0] / parsed[2]);
    std::printf("%-22s write %6.0f  nlohmann %6.0f  RapidJSON %6.0f  pretty %6.0f  RapidJSON %6.0f   %4.2f x "
                "RapidJSON\n",
                "", written[0], written[2], written[3], written[1], written[4], written[0] / written[3]);
    std::printf("%-22s %zu allocations, peak %.1f times the text (nlohmann %.1f)\n", "", our_allocations,
                static_cast<double>(our_peak) / static_cast<double>(text.size()),
                static_cast<double>(nlohmann_peak) / static_cast<double>(text.size()));
    sum.parse_to_boost += std::log(parsed[0] / parsed[2]);
    sum.write_to_rapidjson += std::log(written[0] / written[3]);
    sum.least_parse_to_nlohmann = std::min(sum.least_parse_to_nlohmann, parsed[0] / parsed[1]);
    ++sum.documents;
}

} // namespace

int main(int count, char** arguments) {
    std::vector<std::filesystem::path> files(arguments + 1, arguments + count);
    if (files.empty()) {
        const char* const data = std::getenv("QV_TEST_DATA");
        const std::filesystem::path folder =
            std::filesystem::path(data == nullptr ? "../shared/data" : data) / "json" / "documents";
        if (std::filesystem::is_directory(folder))
            for (const auto& entry : std::filesystem::directory_iterator(folder))
                if (entry.path().extension() == ".json" && entry.file_size() > 30'000)
                    files.push_back(entry.path());
    }
    if (files.empty()) {
        std::puts("json_bench: no documents; name some, or a folder with json/documents in QV_TEST_DATA");
        return 0;
    }
    std::sort(files.begin(), files.end());
    totals sum;
    for (const auto& file : files)
        run(file, sum);
    std::printf("%d documents: parse at least %.2f x nlohmann; geometric means: parse %.2f x Boost.JSON, "
                "to_string %.2f x "
                "RapidJSON\n",
                sum.documents, sum.least_parse_to_nlohmann, std::exp(sum.parse_to_boost / sum.documents),
                std::exp(sum.write_to_rapidjson / sum.documents));
}
