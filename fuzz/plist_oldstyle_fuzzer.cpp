// Feeds arbitrary bytes to the reader of old-style property lists.
#include "plist_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::check_plist(bytes, size, fuzz::readers::oldstyle);
    return 0;
}
