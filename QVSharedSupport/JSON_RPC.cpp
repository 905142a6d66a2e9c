#include <QVSharedSupport/JSON_RPC.h>

#include "exact_integer.h"

#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace QV::SharedSupport::JSON_RPC {

namespace {

constexpr const char* version = "2.0";

[[noreturn]] void fail(std::string_view sentence) {
    throw std::runtime_error(std::string(sentence));
}

const JsonValue* find(const JsonObject& object, const char* name) {
    const auto member = object.find(name);
    return member == object.end() ? nullptr : &member->second;
}

// A version that is missing or no string is as wrong as any other text.
void check_version(const JsonObject& message, std::string_view sentence) {
    const JsonValue* const found = find(message, "jsonrpc");
    const auto* const text = found == nullptr ? nullptr : boost::get<std::string>(found);
    if (text == nullptr || *text != version) fail(std::string(sentence) + version);
}

std::string read_string(const JsonObject& object, const char* name, std::string_view missing,
                        std::string_view no_string) {
    const JsonValue* const found = find(object, name);
    if (found == nullptr) fail(missing);
    const auto* const text = boost::get<std::string>(found);
    if (text == nullptr) fail(no_string);
    return *text;
}

IdType read_id(const JsonValue& id) {
    if (const auto* const text = boost::get<std::string>(&id)) return *text;
    if (const auto* const number = boost::get<double>(&id)) return *number;
    if (boost::get<std::nullptr_t>(&id) != nullptr) return nullptr;
    fail("ID MUST be a string, number, or null");
}

ParamsType read_params(const JsonValue& params) {
    if (const auto* const members = boost::get<JsonObject>(&params)) return *members;
    if (const auto* const elements = boost::get<JsonArray>(&params)) return *elements;
    fail("Request params MUST be an array or an object");
}

int read_code(const JsonObject& error) {
    const JsonValue* const found = find(error, "code");
    if (found == nullptr) fail("errors MUST contain a code");
    const auto* const number = boost::get<double>(found);
    if (number == nullptr) fail("error code MUST be a number");
    const auto code = exact_integer(*number);
    if (!code || *code < std::numeric_limits<int>::min() || *code > std::numeric_limits<int>::max())
        fail("error code MUST be an integer");
    return static_cast<int>(*code);
}

// The value that holds what one of the smaller variants does.
template <class Variant>
JsonValue to_value(const Variant& variant) {
    return boost::apply_visitor([](const auto& alternative) { return JsonValue(alternative); }, variant);
}

} // namespace

const char* const _request::jsonrpc = version;
const char* const Response::jsonrpc = version;

_request::_request(std::string name, std::optional<IdType> identifier, std::optional<ParamsType> parameters)
    : method(std::move(name)), id(std::move(identifier)), params(std::move(parameters)) {}

_request::_request(const JsonObject& message) {
    check_version(message, "Requests MUST contain a jsonrpc and it MUST be ");
    method = read_string(message, "method", "Requests MUST have a method", "method MUST be a string");
    if (const JsonValue* const found = find(message, "params")) params = read_params(*found);
    if (const JsonValue* const found = find(message, "id")) id = read_id(*found);
}

_request::_request(const _request& other) = default;
_request::_request(_request&& other) noexcept = default;
_request& _request::operator=(const _request& other) = default;
_request& _request::operator=(_request&& other) noexcept = default;
_request::~_request() = default;

_request::operator JsonObject() const {
    JsonObject message;
    message.emplace("jsonrpc", jsonrpc);
    message.emplace("method", method);
    if (params) message.emplace("params", to_value(*params));
    if (id) message.emplace("id", to_value(*id));
    return message;
}

Request::Request(std::string name, IdType identifier, std::optional<ParamsType> parameters)
    : _request(std::move(name), std::move(identifier), std::move(parameters)) {
    validate();
}

Request::Request(const JsonObject& message) : _request(message) {
    validate();
}

Request::Request(const Request& other) = default;
Request::Request(Request&& other) noexcept = default;
Request& Request::operator=(const Request& other) = default;
Request& Request::operator=(Request&& other) noexcept = default;
Request::~Request() = default;

void Request::validate() const {
    if (!id) fail("Request objects MUST contain an id");
}

Notification::Notification(std::string name, std::optional<ParamsType> parameters)
    : _request(std::move(name), std::nullopt, std::move(parameters)) {
    validate();
}

Notification::Notification(const JsonObject& message) : _request(message) {
    validate();
}

Notification::Notification(const Notification& other) = default;
Notification::Notification(Notification&& other) noexcept = default;
Notification& Notification::operator=(const Notification& other) = default;
Notification& Notification::operator=(Notification&& other) noexcept = default;
Notification::~Notification() = default;

void Notification::validate() const {
    if (id) fail("Notification objects MUST NOT contain an id");
}

Error::Error(int number, std::string text, std::optional<JsonValue> more)
    : code(number), message(std::move(text)), data(std::move(more)) {}

Error::Error(const JsonObject& error)
    : code(read_code(error)), message(read_string(error, "message", "errors MUST contain a message",
                                                  "error message MUST be a string")) {
    if (const JsonValue* const found = find(error, "data")) data = *found;
}

Error::Error(const Error& other) = default;
Error::Error(Error&& other) noexcept = default;
Error& Error::operator=(const Error& other) = default;
Error& Error::operator=(Error&& other) noexcept = default;
Error::~Error() = default;

Error::operator JsonObject() const {
    JsonObject error;
    error.emplace("code", static_cast<double>(code));
    error.emplace("message", message);
    if (data) error.emplace("data", *data);
    return error;
}

// A request whose id was taken away by hand has none to copy.
Response::Response(const Request& request, std::optional<JsonValue> outcome, std::optional<Error> failure)
    : id(request.id ? *request.id : IdType(nullptr)), result(std::move(outcome)), error(std::move(failure)) {
    validate();
}

Response::Response(const JsonObject& message) {
    check_version(message, "Responses MUST contain a jsonrpc and it MUST be ");
    const JsonValue* const found_id = find(message, "id");
    if (found_id == nullptr) fail("Responses MUST contain an id");
    id = read_id(*found_id);
    if (const JsonValue* const found = find(message, "result")) result = *found;
    if (const JsonValue* const found = find(message, "error")) {
        const auto* const members = boost::get<JsonObject>(found);
        if (members == nullptr) fail("error MUST be an object");
        error.emplace(*members);
    }
    validate();
}

Response::Response(const Response& other) = default;
Response::Response(Response&& other) noexcept = default;
Response& Response::operator=(const Response& other) = default;
Response& Response::operator=(Response&& other) noexcept = default;
Response::~Response() = default;

void Response::validate() const {
    if (result && error) fail("Response objects MUST NOT have a result and an error");
    if (!result && !error) fail("Response objects MUST have a result or an error");
}

Response::operator JsonObject() const {
    JsonObject message;
    message.emplace("jsonrpc", jsonrpc);
    message.emplace("id", to_value(id));
    if (result) message.emplace("result", *result);
    if (error) message.emplace("error", JsonObject(*error));
    return message;
}

} // namespace QV::SharedSupport::JSON_RPC
