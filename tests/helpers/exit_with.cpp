// exit_with CODE: ends at once with that exit code.
#include <cstdlib>
#include <cwchar>

int wmain(int argc, wchar_t** argv) {
    return argc == 2 ? static_cast<int>(std::wcstoul(argv[1], nullptr, 10)) : 1;
}
