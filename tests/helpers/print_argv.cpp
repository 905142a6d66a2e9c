// Writes its command-line words in UTF-16, each ended by a NUL: as the C runtime has them, then the
// word U+E000, then as CommandLineToArgvW does.
#include "standard_streams.h"

#include <shellapi.h>

#include <string>

// MinGW's start-up code must leave '*' and '?' alone.
extern "C" int _dowildcard;
int _dowildcard = 0;

namespace {

void append(std::wstring& to, int count, wchar_t** words) {
    for (int i = 0; i < count; ++i)
        to.append(words[i]).push_back(L'\0');
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    std::wstring all;
    append(all, argc, argv);
    all.append(L"\uE000").push_back(L'\0');
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    append(all, count, words);
    LocalFree(words);
    return helpers::write_out({reinterpret_cast<const char*>(all.data()), all.size() * sizeof(wchar_t)}) ? 0
                                                                                                         : 1;
}
