/// The messages of JSON-RPC 2.0.
///
///     using namespace QV::SharedSupport;
///     JSON_RPC::Request request("restore", 1, JsonObject{{"ecid", "0x1234"}});
///     send(JSON::to_string(JsonObject(request)));
///
///     auto answer = JSON::parse(receive());
///     JSON_RPC::Response response(boost::get<JsonObject>(answer));     // throws what is wrong with it
///     if (response.error)
///         report(response.error->code, response.error->message);
///
/// Every constructor checks what it is given and throws `std::runtime_error` with a fixed sentence for the
/// first rule that is broken: a message that was constructed is a valid one. The fields are open; whoever
/// changes them keeps the rules. QVSharedSupport/JSON_RPC_batch.h reads a text without knowing which message
/// it holds.
///
/// Thread safety: plain data. Nothing here blocks. Transport is left to the caller.
#pragma once

#include <QVSharedSupport/JSON.h>
#include <QVSharedSupport/export.h>

#include <cstddef>
#include <optional>
#include <string>

namespace QV::SharedSupport::JSON_RPC {

using JSON::JsonArray;
using JSON::JsonObject;
using JSON::JsonValue;

/// What tells requests apart: a string, a number or null.
using IdType = boost::variant<std::string, double, std::nullptr_t>;
/// Parameters by name or by position.
using ParamsType = boost::variant<JsonObject, JsonArray>;

/// The codes that JSON-RPC 2.0 reserves for `Error::code`.
namespace error_codes {
inline constexpr int parse_error = -32700;      ///< The text is not JSON.
inline constexpr int invalid_request = -32600;  ///< The JSON is not a message.
inline constexpr int method_not_found = -32601; ///< There is no such method.
inline constexpr int invalid_params = -32602;   ///< The method does not take these parameters.
inline constexpr int internal_error = -32603;   ///< The receiver failed.
inline constexpr int first_server_error =
    -32099; ///< From here to `last_server_error`: for servers to define.
inline constexpr int last_server_error = -32000;
} // namespace error_codes

/// What requests and notifications have in common.
class QV_EXPORT _request {
public:
    /// The version of the protocol, "2.0".
    static const char* const jsonrpc;

    /// The name of the method.
    std::string method;
    /// There for a request, absent for a notification. An id of null is there.
    std::optional<IdType> id;
    /// The parameters, if the message has any.
    std::optional<ParamsType> params;

    /// Stores the fields.
    _request(std::string method, std::optional<IdType> id, std::optional<ParamsType> params);
    /// Reads the members of a message, in this order, and ignores those that it does not know.
    /// @throws std::runtime_error "Requests MUST contain a jsonrpc and it MUST be 2.0", "Requests MUST have a
    ///     method", "method MUST be a string", "Request params MUST be an array or an object", "ID MUST be a
    ///     string, number, or null".
    _request(const JsonObject& message);
    _request(const _request& other);
    _request(_request&& other) noexcept;
    _request& operator=(const _request& other);
    _request& operator=(_request&& other) noexcept;
    virtual ~_request();

    /// The message as it goes over the wire; without "params" or "id" if there are none.
    operator JsonObject() const;
};

/// A call that is answered by a `Response` with the same id.
class QV_EXPORT Request : public _request {
public:
    /// Stores the fields.
    Request(std::string method, IdType id, std::optional<ParamsType> params);
    /// Reads a message.
    /// @throws std::runtime_error what `_request` throws, then "Request objects MUST contain an id".
    Request(const JsonObject& message);
    Request(const Request& other);
    Request(Request&& other) noexcept;
    Request& operator=(const Request& other);
    Request& operator=(Request&& other) noexcept;
    ~Request() override;

private:
    void validate() const;
};

/// A call that is not answered.
class QV_EXPORT Notification : public _request {
public:
    /// Stores the fields.
    Notification(std::string method, std::optional<ParamsType> params);
    /// Reads a message.
    /// @throws std::runtime_error what `_request` throws, then "Notification objects MUST NOT contain an id",
    ///     for an id of null as well.
    Notification(const JsonObject& message);
    Notification(const Notification& other);
    Notification(Notification&& other) noexcept;
    Notification& operator=(const Notification& other);
    Notification& operator=(Notification&& other) noexcept;
    ~Notification() override;

private:
    void validate() const;
};

/// Why a request failed.
struct QV_EXPORT Error {
    /// What kind of failure; see `error_codes`.
    int code;
    /// A short description.
    std::string message;
    /// More about it, if there is more.
    std::optional<JsonValue> data;

    /// Stores the fields.
    Error(int code, std::string message, std::optional<JsonValue> data);
    /// Reads the "error" of a response.
    /// @throws std::runtime_error in this order "errors MUST contain a code", "error code MUST be a number",
    ///     "error code MUST be an integer" (one that an `int` holds), "errors MUST contain a message", "error
    ///     message MUST be a string".
    Error(const JsonObject& error);
    Error(const Error& other);
    Error(Error&& other) noexcept;
    Error& operator=(const Error& other);
    Error& operator=(Error&& other) noexcept;
    ~Error();

    /// The error as it goes over the wire; without "data" if there is none.
    operator JsonObject() const;
};

/// The answer to a request: either a result, which may be null, or an error.
class QV_EXPORT Response {
public:
    /// The version of the protocol, "2.0".
    static const char* const jsonrpc;

    /// The id of the request that is answered; null if that could not be read.
    IdType id;
    /// The result of a request that succeeded.
    std::optional<JsonValue> result;
    /// Why the request failed.
    std::optional<Error> error;

    /// Answers `request`.
    /// @throws std::runtime_error what `validate()` throws.
    Response(const Request& request, std::optional<JsonValue> result, std::optional<Error> error);
    /// Reads a message.
    /// @throws std::runtime_error in this order "Responses MUST contain a jsonrpc and it MUST be 2.0",
    ///     "Responses MUST contain an id", "ID MUST be a string, number, or null", "error MUST be an object",
    ///     what `Error` throws, and what `validate()` throws.
    Response(const JsonObject& message);
    Response(const Response& other);
    Response(Response&& other) noexcept;
    Response& operator=(const Response& other);
    Response& operator=(Response&& other) noexcept;
    ~Response();

    /// Checks that there is either a result or an error.
    /// @throws std::runtime_error "Response objects MUST NOT have a result and an error", "Response objects
    ///     MUST have a result or an error".
    void validate() const;

    /// The message as it goes over the wire.
    operator JsonObject() const;
};

} // namespace QV::SharedSupport::JSON_RPC
