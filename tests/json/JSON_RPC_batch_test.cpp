#include "expect_throw_with.h"
#include "test_data.h"

#include <QVSharedSupport/JSON_RPC_batch.h>
#include <QVSharedSupport/JSON_access.h>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace QV::SharedSupport::JSON_RPC;
namespace JSON = QV::SharedSupport::JSON;

struct name_of {
    std::string operator()(const Request&) const { return "request"; }
    std::string operator()(const Notification&) const { return "notification"; }
    std::string operator()(const Response& response) const { return response.error ? "error" : "response"; }
    std::string operator()(const InvalidMessage&) const { return "invalid"; }
    std::string operator()(const Batch&) const { return "batch"; }
};

JsonValue encoded(const Message& message) {
    if (const auto* const batch = std::get_if<Batch>(&message)) return JsonArray(*batch);
    if (const auto* const request = std::get_if<Request>(&message)) return JsonObject(*request);
    if (const auto* const notification = std::get_if<Notification>(&message))
        return JsonObject(*notification);
    return JsonObject(std::get<Response>(message));
}

// The kind of each message of a text: one, or those of a batch. Nothing if the text was refused.
std::optional<std::vector<std::string>> kinds(const std::string& text) {
    try {
        const Message message = parse_message(text);
        if (!std::holds_alternative<Batch>(message)) return std::vector{std::visit(name_of{}, message)};
        std::vector<std::string> names;
        for (const Batch::Member& member : std::get<Batch>(message).members)
            names.push_back(std::visit(name_of{}, member));
        return names;
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

TEST(JSON_RPC_batch, tells_messages_apart) {
    EXPECT_TRUE(
        std::holds_alternative<Request>(parse_message(R"({"jsonrpc":"2.0","method":"m","id":null})")));
    EXPECT_TRUE(std::holds_alternative<Notification>(parse_message(R"({"jsonrpc":"2.0","method":"m"})")));
    EXPECT_TRUE(std::holds_alternative<Response>(parse_message(R"({"jsonrpc":"2.0","result":1,"id":1})")));
    EXPECT_TRUE(std::holds_alternative<Response>(
        parse_message(R"({"jsonrpc":"2.0","error":{"code":1,"message":"m"},"id":null})")));
    EXPECT_TRUE(std::holds_alternative<Batch>(parse_message("[1]")));
    // A method makes it a request, whatever else it has.
    EXPECT_TRUE(std::holds_alternative<Request>(
        parse_message(R"({"jsonrpc":"2.0","method":"m","id":1,"result":1})")));
}

TEST(JSON_RPC_batch, says_what_is_wrong_with_a_message) {
    const auto expect = [](const char* text, const char* sentence) {
        SCOPED_TRACE(text);
        qv_test::expect_throw_with<std::runtime_error>(sentence, [&] { (void)parse_message(text); });
    };
    expect("5", "Messages MUST be objects");
    expect("null", "Messages MUST be objects");
    expect("[]", "Batches MUST NOT be empty");
    expect(R"({"jsonrpc":"2.0"})", "Requests MUST have a method");
    expect(R"({"jsonrpc":"2.0","id":1})", "Requests MUST have a method");
    expect(R"({"jsonrpc":"2.0","result":1})", "Responses MUST contain an id");
    qv_test::expect_throw_with<std::invalid_argument>("Invalid JSON", [] { (void)parse_message("{"); });
}

TEST(JSON_RPC_batch, keeps_what_is_no_message_beside_those_that_are) {
    const std::string text =
        R"([{"jsonrpc":"2.0","method":"m","id":1},7,[],{"jsonrpc":"2.0","method":1},{"jsonrpc":"2.0","method":"n"}])";
    const Batch batch = std::get<Batch>(parse_message(text));
    ASSERT_EQ(batch.members.size(), 5U);
    EXPECT_EQ(std::get<InvalidMessage>(batch.members[1]).reason, "Messages MUST be objects");
    EXPECT_EQ(std::get<InvalidMessage>(batch.members[1]).value, JsonValue(7));
    EXPECT_EQ(std::get<InvalidMessage>(batch.members[2]).reason, "Messages MUST be objects");
    EXPECT_EQ(std::get<InvalidMessage>(batch.members[3]).reason, "method MUST be a string");
    EXPECT_EQ(std::get<Notification>(batch.members[4]).method, "n");
    EXPECT_EQ(JsonValue(JsonArray(batch)), JSON::parse(text));
}

TEST(JSON_RPC_batch, is_made_of_messages) {
    Batch batch;
    EXPECT_TRUE(JsonArray(batch).empty());
    batch.members.emplace_back(Notification("m", std::nullopt));
    batch.members.emplace_back(Request("n", 1, JsonArray{}));
    EXPECT_EQ(
        JsonValue(JsonArray(batch)),
        JSON::parse(R"([{"jsonrpc":"2.0","method":"m"},{"jsonrpc":"2.0","method":"n","params":[],"id":1}])"));
}

// A file of {"cases": [{"message", "kind", "batch", "parts"}]}.
void check_cases(const std::filesystem::path& path) {
    const JsonValue file = JSON::parse(qv_test::read_file(path));
    const auto cases = JSON::get<JsonArray>(file, "cases");
    ASSERT_TRUE(cases) << path;
    for (const JsonValue& one : *cases) {
        const auto name = JSON::get<std::string>(one, "name");
        const auto found = kinds(JSON::get<std::string>(one, "message").value());
        if (const auto parts = JSON::get<JsonArray>(one, "parts")) {
            ASSERT_TRUE(found) << *name;
            ASSERT_EQ(found->size(), parts->size()) << *name;
            for (std::size_t i = 0; i != parts->size(); ++i)
                EXPECT_EQ(JsonValue(found->at(i)), parts->at(i)) << *name;
        } else {
            const auto kind = JSON::get<std::string>(one, "kind").value();
            EXPECT_EQ(found ? found->at(0) : "invalid", kind) << *name;
        }
    }
    std::cout << path.filename().string() << ": " << cases->size() << " cases\n";
}

TEST(JSON_RPC_traffic, examples_and_variants) {
    for (const auto& folder : qv_test::data_folders())
        for (const char* file : {"variants.json", "jsonrpc_org_examples.json"})
            if (std::filesystem::exists(folder / "jsonrpc" / file)) check_cases(folder / "jsonrpc" / file);
}

void check_recorded(const std::string& line) {
    const JsonValue entry = JSON::parse(line);
    const auto raw = JSON::get<std::string>(entry, "raw").value();
    auto kind = JSON::get<std::string>(entry, "kind").value();
    const auto found = kinds(raw);
    if (kind == "batch") {
        if (!found) return;
        EXPECT_TRUE(std::holds_alternative<Batch>(parse_message(raw))) << raw;
    } else if (raw.find("jsonrpc") == std::string::npos || raw.find("\"params\":null") != std::string::npos) {
        // Recorded to be answered with an error; and that server takes null for absent parameters.
        EXPECT_FALSE(found) << raw;
    } else {
        EXPECT_EQ(found ? found->at(0) : "invalid", kind) << raw;
    }
    if (!found) return;
    // What was understood is written as what it was, apart from members that nobody knows.
    const Message message = parse_message(raw);
    const Message again = make_message(encoded(message));
    EXPECT_EQ(again.index(), message.index()) << raw;
    EXPECT_EQ(encoded(again), encoded(message)) << raw;
}

TEST(JSON_RPC_traffic, ethereum) {
    qv_test::for_each_line("jsonrpc/ethereum_tests.ndjson", check_recorded);
}
TEST(JSON_RPC_traffic, language_servers) {
    qv_test::for_each_line("jsonrpc/lsp_sessions.ndjson", check_recorded);
}
TEST(JSON_RPC_traffic, others) {
    qv_test::for_each_line("jsonrpc/geth_transcripts.ndjson", check_recorded, true);
    qv_test::for_each_line("jsonrpc/mcp_examples.ndjson", check_recorded, true);
}

TEST(JSON_RPC_traffic, a_stream_of_framed_messages) {
    for (const auto& folder : qv_test::data_folders()) {
        const auto path = folder / "jsonrpc" / "lsptrace_server.raw";
        if (!std::filesystem::exists(path)) continue;
        const std::string stream = qv_test::read_file(path);
        std::map<std::string, int> seen;
        const std::string header = "Content-Length: ";
        for (std::size_t at = stream.find(header); at != std::string::npos; at = stream.find(header, at)) {
            const std::size_t size = std::stoul(stream.substr(at + header.size()));
            at = stream.find("\r\n\r\n", at) + 4;
            ASSERT_LE(at + size, stream.size());
            const auto found = kinds(stream.substr(at, size));
            EXPECT_TRUE(found) << stream.substr(at, size);
            if (found) ++seen[found->at(0)];
            at += size;
        }
        for (const auto& [kind, count] : seen)
            std::cout << "lsptrace_server.raw: " << count << " " << kind << "\n";
        EXPECT_FALSE(seen.empty());
    }
}

} // namespace
