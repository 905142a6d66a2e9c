// Parses arbitrary bytes; what is accepted is written in both forms and must read back as the same.
#include "json_round_trip.h"

#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    namespace JSON = QV::SharedSupport::JSON;
    QV::JsonValue value;
    try {
        value = JSON::parse(std::string(bytes, bytes + size));
    } catch (const std::invalid_argument&) {
        return 0;
    }
    if (!fuzz::nearly_equal(JSON::parse(JSON::to_string(value)), value)) std::abort();
    if (!fuzz::nearly_equal(JSON::parse(JSON::to_pretty_string(value)), value)) std::abort();
    return 0;
}
