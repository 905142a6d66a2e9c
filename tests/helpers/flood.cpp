// flood OUT ERR: writes OUT bytes of 'o' to its standard output and ERR bytes of 'e' to its standard error,
// in turns of 10,000, then ends.
#include "standard_streams.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <string>

namespace {

bool write_turn(HANDLE stream, char byte, std::size_t& left) {
    const std::size_t count = std::min<std::size_t>(left, 10'000);
    left -= count;
    return helpers::write_all(stream, std::string(count, byte));
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 3) return 1;
    std::size_t out = std::wcstoull(argv[1], nullptr, 10);
    std::size_t error = std::wcstoull(argv[2], nullptr, 10);
    while (out + error > 0) {
        if (!write_turn(GetStdHandle(STD_OUTPUT_HANDLE), 'o', out)) return 2;
        if (!write_turn(GetStdHandle(STD_ERROR_HANDLE), 'e', error)) return 3;
    }
    return 0;
}
