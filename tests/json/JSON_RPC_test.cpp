#include "expect_throw_with.h"

#include <QVSharedSupport/JSON_RPC.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

using namespace QV::SharedSupport::JSON_RPC;
namespace JSON = QV::SharedSupport::JSON;

JsonObject object(const std::string& text) {
    return boost::get<JsonObject>(JSON::parse(text));
}

template <class Message>
void expect_refused(const std::string& text, const std::string& sentence) {
    SCOPED_TRACE(text);
    const JsonObject members = object(text);
    qv_test::expect_throw_with<std::runtime_error>(sentence, [&] { Message message(members); });
}

constexpr const char* no_version = "Requests MUST contain a jsonrpc and it MUST be 2.0";
constexpr const char* no_method = "Requests MUST have a method";
constexpr const char* bad_method = "method MUST be a string";
constexpr const char* bad_params = "Request params MUST be an array or an object";
constexpr const char* bad_id = "ID MUST be a string, number, or null";
constexpr const char* request_without_id = "Request objects MUST contain an id";
constexpr const char* notification_with_id = "Notification objects MUST NOT contain an id";
constexpr const char* no_answer_version = "Responses MUST contain a jsonrpc and it MUST be 2.0";
constexpr const char* no_answer_id = "Responses MUST contain an id";
constexpr const char* bad_error = "error MUST be an object";
constexpr const char* both = "Response objects MUST NOT have a result and an error";
constexpr const char* neither = "Response objects MUST have a result or an error";

TEST(JSON_RPC, has_the_members_of_its_classes) {
    static_assert(std::is_same_v<IdType, boost::variant<std::string, double, std::nullptr_t>>);
    static_assert(std::is_same_v<ParamsType, boost::variant<JsonObject, JsonArray>>);
    static_assert(std::is_base_of_v<_request, Request> && std::is_base_of_v<_request, Notification>);
    static_assert(std::has_virtual_destructor_v<_request>);
    static_assert(!std::is_polymorphic_v<Response> && !std::is_polymorphic_v<Error>);
    static_assert(std::is_nothrow_move_constructible_v<Request> &&
                  std::is_nothrow_move_assignable_v<Response>);
    EXPECT_STREQ(_request::jsonrpc, "2.0");
    EXPECT_STREQ(Response::jsonrpc, "2.0");
    EXPECT_EQ(error_codes::parse_error, -32700);
    EXPECT_EQ(error_codes::invalid_request, -32600);
    EXPECT_EQ(error_codes::method_not_found, -32601);
    EXPECT_EQ(error_codes::invalid_params, -32602);
    EXPECT_EQ(error_codes::internal_error, -32603);
}

template <class Message>
void expect_common_checks(const std::string& id) {
    expect_refused<Message>("{}", no_version);
    expect_refused<Message>(R"({"method":"m"})", no_version);
    expect_refused<Message>(R"({"jsonrpc":2,"method":"m"})", no_version);
    expect_refused<Message>(R"({"jsonrpc":2.0,"method":"m"})", no_version);
    expect_refused<Message>(R"({"jsonrpc":null,"method":"m"})", no_version);
    expect_refused<Message>(R"({"jsonrpc":"2.00","method":"m"})", no_version);
    expect_refused<Message>(R"({"jsonrpc":"2.0\u0000","method":"m"})", no_version);
    expect_refused<Message>(R"({"jsonrpc":"1.0","method":"m"})", no_version);
    expect_refused<Message>(R"({"jsonrpc":"2.0"})", no_method);
    expect_refused<Message>(R"({"jsonrpc":"2.0","method":1})", bad_method);
    expect_refused<Message>(R"({"jsonrpc":"2.0","method":null})", bad_method);
    for (const char* params : {"\"x\"", "5", "true", "null"})
        expect_refused<Message>(R"({"jsonrpc":"2.0","method":"m","params":)" + std::string(params) + id + "}",
                                bad_params);
    for (const char* wrong : {"true", "[]", "{}", "[1]"})
        expect_refused<Message>(R"({"jsonrpc":"2.0","method":"m","id":)" + std::string(wrong) + "}", bad_id);
}

TEST(JSON_RPC, checks_the_common_members) {
    expect_common_checks<_request>("");
    expect_common_checks<Request>(R"(,"id":1)");
    expect_common_checks<Notification>("");
}

TEST(JSON_RPC, reports_the_first_rule_that_is_broken) {
    expect_refused<Request>(R"({"jsonrpc":"1","params":5,"id":[]})", no_version);
    expect_refused<Request>(R"({"jsonrpc":"2.0","params":5,"id":[]})", no_method);
    expect_refused<Request>(R"({"jsonrpc":"2.0","method":[],"params":5,"id":[]})", bad_method);
    expect_refused<Request>(R"({"jsonrpc":"2.0","method":"m","params":5,"id":[]})", bad_params);
    expect_refused<Notification>(R"({"jsonrpc":"2.0","method":"m","params":[],"id":[]})", bad_id);
    expect_refused<Error>(R"({})", "errors MUST contain a code");
    expect_refused<Error>(R"({"code":"x"})", "error code MUST be a number");
    expect_refused<Error>(R"({"code":1.5,"message":1})", "error code MUST be an integer");
    expect_refused<Response>(R"({"error":5,"result":1})", no_answer_version);
    expect_refused<Response>(R"({"jsonrpc":"2.0","error":5,"result":1})", no_answer_id);
    expect_refused<Response>(R"({"jsonrpc":"2.0","error":5,"result":1,"id":true})", bad_id);
    expect_refused<Response>(R"({"jsonrpc":"2.0","error":5,"result":1,"id":1})", bad_error);
    expect_refused<Response>(R"({"jsonrpc":"2.0","error":{},"result":1,"id":1})",
                             "errors MUST contain a code");
    expect_refused<Response>(R"({"jsonrpc":"2.0","error":{"code":1,"message":""},"result":1,"id":1})", both);
}

TEST(JSON_RPC, reads_a_request) {
    const Request request(
        object(R"({"jsonrpc":"2.0","method":"m\u0000n","params":{"a":1},"id":"i","more":[]})"));
    EXPECT_EQ(request.method, std::string("m\0n", 3));
    EXPECT_EQ(request.id, IdType("i"));
    EXPECT_EQ(request.params, ParamsType(JsonObject{{"a", 1}}));
    EXPECT_EQ(Request(object(R"({"jsonrpc":"2.0","method":"","id":1.5})")).id, IdType(1.5));
    EXPECT_EQ(Request(object(R"({"jsonrpc":"2.0","method":"m","id":null})")).id, IdType(nullptr));
    EXPECT_EQ(Request(object(R"({"jsonrpc":"2.0","method":"m","id":null})")).params, std::nullopt);
    EXPECT_EQ(Request(object(R"({"jsonrpc":"2.0","method":"m","params":[],"id":1})")).params,
              ParamsType(JsonArray{}));
    expect_refused<Request>(R"({"jsonrpc":"2.0","method":"m"})", request_without_id);
}

TEST(JSON_RPC, reads_a_notification) {
    const Notification notification(object(R"({"jsonrpc":"2.0","method":"m","params":[1]})"));
    EXPECT_EQ(notification.method, "m");
    EXPECT_EQ(notification.id, std::nullopt);
    EXPECT_EQ(notification.params, ParamsType(JsonArray{1}));
    expect_refused<Notification>(R"({"jsonrpc":"2.0","method":"m","id":null})", notification_with_id);
    expect_refused<Notification>(R"({"jsonrpc":"2.0","method":"m","id":1})", notification_with_id);
}

TEST(JSON_RPC, reads_an_error) {
    const Error error(object(R"({"code":-32600.0,"message":"m","data":null,"more":1})"));
    EXPECT_EQ(error.code, -32600);
    EXPECT_EQ(error.message, "m");
    EXPECT_EQ(error.data, JsonValue(nullptr));
    EXPECT_EQ(Error(object(R"({"code":-0.0,"message":""})")).code, 0);
    EXPECT_EQ(Error(object(R"({"code":2147483647,"message":""})")).code, std::numeric_limits<int>::max());
    EXPECT_EQ(Error(object(R"({"code":-2147483648,"message":""})")).code, std::numeric_limits<int>::min());
    EXPECT_EQ(Error(object(R"({"code":1,"message":""})")).data, std::nullopt);
    for (const char* code : {"1.5", "3e10", "2147483648", "-2147483649", "2147483647.5", "1e300", "5e-324"})
        expect_refused<Error>(R"({"message":"","code":)" + std::string(code) + "}",
                              "error code MUST be an integer");
    for (const double code :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        qv_test::expect_throw_with<std::runtime_error>("error code MUST be an integer", [&] {
            Error made(JsonObject{{"code", code}, {"message", ""}});
        });
    for (const char* code : {"\"1\"", "null", "true", "[]", "{}"})
        expect_refused<Error>(R"({"message":"","code":)" + std::string(code) + "}",
                              "error code MUST be a number");
    expect_refused<Error>(R"({"message":""})", "errors MUST contain a code");
    expect_refused<Error>(R"({"code":1})", "errors MUST contain a message");
    expect_refused<Error>(R"({"code":1,"message":null})", "error message MUST be a string");
}

TEST(JSON_RPC, reads_a_response) {
    const Response success(object(R"({"jsonrpc":"2.0","result":null,"id":null})"));
    EXPECT_EQ(success.id, IdType(nullptr));
    EXPECT_EQ(success.result, JsonValue(nullptr));
    EXPECT_FALSE(success.error);
    const Response failure(object(R"({"jsonrpc":"2.0","error":{"code":1,"message":"m"},"id":"x"})"));
    EXPECT_FALSE(failure.result);
    ASSERT_TRUE(failure.error);
    EXPECT_EQ(failure.error->code, 1);
    expect_refused<Response>(R"({"jsonrpc":"2","result":1,"id":1})", no_answer_version);
    expect_refused<Response>(R"({"jsonrpc":2.0,"result":1,"id":1})", no_answer_version);
    expect_refused<Response>(R"({"jsonrpc":"2.0","result":1})", no_answer_id);
    expect_refused<Response>(R"({"jsonrpc":"2.0","result":1,"id":{}})", bad_id);
    expect_refused<Response>(R"({"jsonrpc":"2.0","error":"x","id":1})", bad_error);
    expect_refused<Response>(R"({"jsonrpc":"2.0","error":null,"id":1})", bad_error);
    expect_refused<Response>(R"({"jsonrpc":"2.0","result":1,"error":{"code":1,"message":"m"},"id":1})", both);
    expect_refused<Response>(R"({"jsonrpc":"2.0","id":1})", neither);
}

TEST(JSON_RPC, builds_messages_of_fields) {
    const Request request("m", 5, JsonArray{1});
    EXPECT_EQ(request.id, IdType(5.0));
    const Response response(request, JsonValue("done"), std::nullopt);
    EXPECT_EQ(response.id, IdType(5.0));
    EXPECT_EQ(response.result, JsonValue("done"));
    EXPECT_EQ(Response(Request("m", nullptr, std::nullopt), std::nullopt, Error(1, "m", std::nullopt)).id,
              IdType(nullptr));
    EXPECT_EQ(Notification("m", std::nullopt).id, std::nullopt);
    EXPECT_EQ(_request("m", std::nullopt, std::nullopt).method, "m");
    qv_test::expect_throw_with<std::runtime_error>(neither,
                                                   [&] { Response(request, std::nullopt, std::nullopt); });
    qv_test::expect_throw_with<std::runtime_error>(
        both, [&] { Response(request, JsonValue(nullptr), Error(1, "m", std::nullopt)); });
}

TEST(JSON_RPC, validates_a_response_again) {
    Response response(Request("m", 1, std::nullopt), JsonValue(1), std::nullopt);
    EXPECT_NO_THROW(response.validate());
    response.error.emplace(1, "m", std::nullopt);
    qv_test::expect_throw_with<std::runtime_error>(both, [&] { response.validate(); });
    response.error.reset();
    response.result.reset();
    qv_test::expect_throw_with<std::runtime_error>(neither, [&] { response.validate(); });
}

TEST(JSON_RPC, encodes_what_is_there) {
    EXPECT_EQ(JsonObject(Notification("m", std::nullopt)), object(R"({"jsonrpc":"2.0","method":"m"})"));
    EXPECT_EQ(JsonObject(Request("m", nullptr, std::nullopt)),
              object(R"({"jsonrpc":"2.0","method":"m","id":null})"));
    EXPECT_EQ(JsonObject(Request("m", "x", JsonObject{})),
              object(R"({"jsonrpc":"2.0","method":"m","id":"x","params":{}})"));
    EXPECT_EQ(JsonObject(Error(-5, "m", std::nullopt)), object(R"({"code":-5,"message":"m"})"));
    EXPECT_EQ(JsonObject(Error(-5, "m", JsonValue(JsonArray{}))),
              object(R"({"code":-5,"message":"m","data":[]})"));
    const Request request("m", 1, std::nullopt);
    EXPECT_EQ(JsonObject(Response(request, JsonValue(nullptr), std::nullopt)),
              object(R"({"jsonrpc":"2.0","id":1,"result":null})"));
    EXPECT_EQ(JsonObject(Response(request, std::nullopt, Error(1, "m", std::nullopt))),
              object(R"({"jsonrpc":"2.0","id":1,"error":{"code":1,"message":"m"}})"));
}

TEST(JSON_RPC, encodes_what_it_decoded) {
    for (const char* text : {R"({"jsonrpc":"2.0","method":"m","id":-1})",
                             R"({"jsonrpc":"2.0","method":"m","params":[{}],"id":null})"})
        EXPECT_EQ(JsonObject(Request(object(text))), object(text));
    const char* const text = R"({"jsonrpc":"2.0","method":"m","params":{"a":[]}})";
    EXPECT_EQ(JsonObject(Notification(object(text))), object(text));
    for (const char* answer :
         {R"({"jsonrpc":"2.0","id":"i","result":{"a":1}})",
          R"({"jsonrpc":"2.0","id":null,"error":{"code":7,"message":"m","data":{"d":null}}})"})
        EXPECT_EQ(JsonObject(Response(object(answer))), object(answer));
}

TEST(JSON_RPC, copies_and_moves_every_field) {
    const Request request("a method with a long name", "an id with many letters", JsonArray{1, 2});
    Request copy = request;
    EXPECT_EQ(JsonObject(copy), JsonObject(request));
    Request moved = std::move(copy);
    EXPECT_EQ(JsonObject(moved), JsonObject(request));
    Request other("m", 1, std::nullopt);
    other = moved;
    EXPECT_EQ(JsonObject(other), JsonObject(request));
    other = Request("n", 2, std::nullopt);
    EXPECT_EQ(other.method, "n");
    EXPECT_EQ(other.params, std::nullopt);

    Response response(request, std::nullopt, Error(1, "m", JsonValue("data")));
    const JsonObject before = response;
    Response moved_response = std::move(response);
    EXPECT_EQ(JsonObject(moved_response), before);
    Response assigned(request, JsonValue(1), std::nullopt);
    assigned = moved_response;
    EXPECT_EQ(JsonObject(assigned), before);
    assigned = Response(request, JsonValue(2), std::nullopt);
    EXPECT_FALSE(assigned.error);

    Notification notification("m", JsonObject{});
    Notification taken = std::move(notification);
    notification = taken;
    EXPECT_EQ(JsonObject(notification), JsonObject(taken));
}

TEST(JSON_RPC, leaves_a_message_as_it_was_when_another_is_refused) {
    Request request("m", 1, std::nullopt);
    EXPECT_THROW(request = Request(object("{}")), std::runtime_error);
    EXPECT_EQ(JsonObject(request), JsonObject(Request("m", 1, std::nullopt)));
}

} // namespace
