#include "logger_state.h"

#include <array>
#include <cstring>

namespace QV::Logging::inline v2 {

namespace {

// Plain memory: it needs neither construction nor destruction, so that even the last destructor on a thread
// may log.
struct name_buffer {
    std::array<char, 128> text;
    std::size_t size;
};

thread_local constinit name_buffer this_thread{};

bool continues_a_character(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

void set_current_thread_name(std::string_view name) noexcept {
    std::size_t size = name.size();
    if (size >= this_thread.text.size()) {
        size = this_thread.text.size() - 1;
        while (size > 0 && continues_a_character(name[size]))
            --size;
    }
    if (size != 0) std::memcpy(this_thread.text.data(), name.data(), size);
    this_thread.size = size;
}

std::string_view detail::current_thread_name() noexcept {
    return {this_thread.text.data(), this_thread.size};
}

} // namespace QV::Logging::inline v2
