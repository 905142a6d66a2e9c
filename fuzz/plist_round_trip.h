// What must hold of every property list that a reader takes.
#ifndef FUZZ_PLIST_ROUND_TRIP_H
#define FUZZ_PLIST_ROUND_TRIP_H

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Which readers CFPropertyListCreateWithData may try.
enum class readers : CFOptionFlags { oldstyle = 1U << 8, binary = 1U << 9, xml = 1U << 10, all = 0 };

/// Reads bytes with each mutability; writes what was read in XML and in binary, and reads that again. Aborts
/// if what was read does not come back equal, or if a call breaks its promises.
void check_plist(const std::uint8_t* bytes, std::size_t size, readers which);

} // namespace fuzz

#endif
