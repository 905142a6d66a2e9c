#include "pipe_name.h"

namespace QV::pipe {
namespace {

constexpr std::uint32_t symbols = 33;
// How many of the 2^32 products' low halves are one too many for an even share: 2^32 mod 33.
constexpr std::uint32_t surplus = static_cast<std::uint32_t>((std::uint64_t{1} << 32) % symbols);
static_assert(surplus == 4);

wchar_t draw_character(const std::function<std::uint32_t()>& draw) {
    std::uint64_t product = 0;
    do {
        product = std::uint64_t{draw()} * symbols;
    } while (static_cast<std::uint32_t>(product) < surplus);
    return L"0123456789abcdefghijklmnopqrstuvw"[product >> 32];
}

} // namespace

std::wstring make_pipe_name(const std::function<std::uint32_t()>& draw) {
    constexpr int length = 12;
    std::wstring name = L"\\\\.\\pipe\\";
    for (int i = 0; i < length; ++i)
        name.push_back(draw_character(draw));
    return name;
}

} // namespace QV::pipe
