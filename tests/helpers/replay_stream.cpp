// replay_stream FILE SIZES EXIT_CODE [STDERR_FILE]: writes all of STDERR_FILE to its standard error, then
// FILE to its standard output in pieces of the given sizes ("4096" or "2,3,5", repeated when they run out),
// and ends.
#include "standard_streams.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

namespace {

std::string contents(const wchar_t* path) {
    std::FILE* const file = _wfopen(path, L"rb");
    if (file == nullptr) std::exit(100);
    std::string bytes;
    char piece[4096];
    while (const std::size_t count = std::fread(piece, 1, sizeof(piece), file))
        bytes.append(piece, count);
    std::fclose(file);
    return bytes;
}

std::vector<std::size_t> sizes(const wchar_t* list) {
    std::vector<std::size_t> values;
    wchar_t* end = nullptr;
    for (const wchar_t* at = list; *at != L'\0'; at = *end == L',' ? end + 1 : end)
        values.push_back(std::wcstoull(at, &end, 10));
    return values;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 4) return 101;
    if (argc > 4) helpers::write_error(contents(argv[4]));
    const std::string bytes = contents(argv[1]);
    const std::vector<std::size_t> plan = sizes(argv[2]);
    std::size_t piece = 0;
    for (std::size_t at = 0; at < bytes.size(); ++piece) {
        const std::size_t size = std::min(plan[piece % plan.size()], bytes.size() - at);
        if (!helpers::write_out({bytes.data() + at, size})) return 102;
        at += size;
    }
    return static_cast<int>(std::wcstoul(argv[3], nullptr, 10));
}
