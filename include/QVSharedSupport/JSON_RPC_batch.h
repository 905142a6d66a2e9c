/// Reading JSON-RPC 2.0 text without knowing beforehand which message it holds, and batches of messages.
///
///     auto incoming = JSON_RPC::parse_message(text);
///     if (auto* request = std::get_if<JSON_RPC::Request>(&incoming))
///         send(JSON::to_string(JsonObject(answer(*request))));
///
/// Thread safety: plain data. Nothing here blocks.
#pragma once

#include <QVSharedSupport/JSON_RPC.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace QV::SharedSupport::JSON_RPC {

/// A member of a batch that is no message. It is to be answered with an error of its own, the others are not
/// concerned.
struct InvalidMessage {
    /// What stood there.
    JsonValue value;
    /// What is wrong with it: the sentence that the constructor of a message throws, or "Messages MUST be
    /// objects".
    std::string reason;
};

/// Several messages in one array. Their order says nothing.
struct Batch {
    using Member = std::variant<Request, Notification, Response, InvalidMessage>;
    /// The messages, in the order of the array.
    std::vector<Member> members;

    Batch() = default;
    /// Takes these messages.
    explicit Batch(std::vector<Member> messages) : members(std::move(messages)) {}
    /// Reads an array; what is no message becomes an `InvalidMessage`.
    /// @throws std::runtime_error "Batches MUST NOT be empty".
    QV_EXPORT explicit Batch(const JsonArray& array);

    /// The batch as it goes over the wire.
    QV_EXPORT explicit operator JsonArray() const;
};

/// A message of any kind, or a batch.
using Message = std::variant<Request, Notification, Response, Batch>;

/// Makes the message that an object or array holds: with a "method" a request or, without an id, a
/// notification; otherwise, with a "result" or an "error", a response; an array is a batch.
/// @throws std::runtime_error what the constructor of that class throws; "Messages MUST be objects".
[[nodiscard]] QV_EXPORT Message make_message(const JsonValue& value);

/// Reads the text of a message.
/// @throws std::invalid_argument what `JSON::parse` throws: to be answered with `error_codes::parse_error`.
/// @throws std::runtime_error what `make_message` throws: to be answered with `error_codes::invalid_request`.
[[nodiscard]] QV_EXPORT Message parse_message(const std::string& text);

} // namespace QV::SharedSupport::JSON_RPC
