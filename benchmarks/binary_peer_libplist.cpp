#include "binary_peer.h"
#include "processor_time.h"

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>

namespace bench {

std::optional<peer_times> binary_peer(std::span<const std::byte> list) {
    const auto* const bytes = reinterpret_cast<const char*>(list.data());
    const auto size = static_cast<std::uint32_t>(list.size());
    peer_times times;
    times.read = seconds([&] {
        plist_t node = nullptr;
        plist_from_bin(bytes, size, &node);
        plist_free(node);
    });
    plist_t node = nullptr;
    plist_from_bin(bytes, size, &node);
    times.write = seconds([&] {
        char* written = nullptr;
        std::uint32_t length = 0;
        plist_to_bin(node, &written, &length);
        std::free(written);
    });
    plist_free(node);
    return times;
}

} // namespace bench
