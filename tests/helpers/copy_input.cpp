// Copies its standard input to its standard output until the input ends, then says "end of input" on its
// standard error.
#include "standard_streams.h"

int wmain() {
    char bytes[4096];
    while (const std::size_t count =
               helpers::read_some(GetStdHandle(STD_INPUT_HANDLE), bytes, sizeof(bytes))) {
        if (!helpers::write_out({bytes, count})) return 1;
    }
    return helpers::write_error("end of input") ? 0 : 1;
}
