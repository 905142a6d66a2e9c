// write_to_handle TEXT... pipe=N: writes "through the handle" to the handle N, which it inherited.
#include "standard_streams.h"

#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string_view>

int wmain(int argc, wchar_t** argv) {
    constexpr std::wstring_view name = L"pipe=";
    const std::wstring_view last = argv[argc - 1];
    if (!last.starts_with(name)) return 1;
    const std::intptr_t value = std::wcstoll(last.data() + name.size(), nullptr, 10);
    return helpers::write_all(reinterpret_cast<HANDLE>(value), "through the handle") ? 0 : 2;
}
