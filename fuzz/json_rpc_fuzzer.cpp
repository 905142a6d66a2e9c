// Makes each class of message from arbitrary objects; a message that was made encodes to one that is made
// again.
#include "json_round_trip.h"

#include <QVSharedSupport/JSON_RPC_batch.h>

#include <stdexcept>
#include <string>

namespace {

using namespace QV::SharedSupport::JSON_RPC;

template <class Message>
void check(const JsonObject& object) {
    JsonObject encoded;
    try {
        encoded = Message(object);
    } catch (const std::runtime_error&) {
        return;
    }
    // Not caught: what was valid stays so.
    if (!fuzz::nearly_equal(JsonObject(Message(encoded)), encoded)) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    JsonValue value;
    try {
        value = QV::SharedSupport::JSON::parse(std::string(bytes, bytes + size));
    } catch (const std::invalid_argument&) {
        return 0;
    }
    if (const auto* const object = boost::get<JsonObject>(&value)) {
        check<Request>(*object);
        check<Notification>(*object);
        check<Response>(*object);
        check<Error>(*object);
    }
    try {
        (void)make_message(value);
    } catch (const std::runtime_error&) {
        return 0;
    }
    return 0;
}
