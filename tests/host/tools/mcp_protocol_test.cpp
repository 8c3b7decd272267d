#include "host/tools/mcp_protocol.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

namespace json = boost::json;
using testing::HasSubstr;
using testing::Not;

class McpProtocolTest : public testing::Test {
  protected:
    /// The answers to a line, one JSON text.
    std::string answers(const std::string& line) {
        std::string text;
        for (const json::object& answer : protocol.take(line).answers) {
            text += json::serialize(answer);
        }
        return text;
    }
    std::string agreedVersion(const std::string& asked) {
        const auto answer = protocol
                                .take(R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":)"
                                      R"({"protocolVersion":")" +
                                      asked + R"(","capabilities":{}}})")
                                .answers.at(0);
        return std::string(answer.at("result").at("protocolVersion").as_string());
    }

    McpProtocol protocol;
};

TEST_F(McpProtocolTest, AHandshakeAgreesOnTheClientsVersionOrOffersTheNewest) {
    for (const char* version : {"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"}) {
        EXPECT_EQ(agreedVersion(version), version);
    }
    for (const char* version : {"2024-10-07", "2026-07-28", "", "next"}) {
        EXPECT_EQ(agreedVersion(version), "2025-11-25") << version;
    }
}

TEST_F(McpProtocolTest, EachLineGetsItsAnswerOrNone) {
    const struct {
        const char* story;
        const char* line;
        const char* answer;  ///< a part of it; empty: none
    } rows[] = {
        {"a ping", R"({"jsonrpc":"2.0","id":"p","method":"ping"})", R"("id":"p","result":{}})"},
        {"the tools", R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})", R"({"name":"create_comment",)"},
        {"a notification", R"({"jsonrpc":"2.0","method":"notifications/initialized"})", ""},
        {"an unknown notification", R"({"jsonrpc":"2.0","method":"notifications/x","params":[]})", ""},
        {"an answer to nothing", R"({"jsonrpc":"2.0","id":7,"result":{}})", ""},
        {"an unknown method", R"({"jsonrpc":"2.0","id":2,"method":"resources/list"})",
         R"("id":2,"error":{"code":-32601,)"},
        {"no JSON", "{oops", R"("id":null,"error":{"code":-32700,)"},
        {"no object", "7", R"("id":null,"error":{"code":-32600,)"},
        {"no version", R"({"id":3,"method":"ping"})", R"("id":3,"error":{"code":-32600,)"},
        {"another version", R"({"jsonrpc":"1.0","id":3,"method":"ping"})", R"("code":-32600,)"},
        {"no method", R"({"jsonrpc":"2.0","id":4})", R"("id":4,"error":{"code":-32600,)"},
        {"a method that is no text", R"({"jsonrpc":"2.0","id":4,"method":4})", R"("code":-32600,)"},
        {"a null id", R"({"jsonrpc":"2.0","id":null,"method":"ping"})",
         R"("id":null,"error":{"code":-32600,)"},
        {"params that are no object", R"({"jsonrpc":"2.0","id":5,"method":"ping","params":[1]})",
         R"("code":-32600,)"},
        {"a call without a name", R"({"jsonrpc":"2.0","id":6,"method":"tools/call","params":{}})",
         R"("isError":true})"},
        {"a call whose arguments are a list",
         R"({"jsonrpc":"2.0","id":6,"method":"tools/call","params":{"name":"get_bug","arguments":[]}})",
         R"(The arguments must be an object.)"},
    };
    for (const auto& row : rows) {
        const std::string answer = answers(row.line);
        EXPECT_THAT(answer, HasSubstr(row.answer)) << row.story;
        EXPECT_EQ(answer.empty(), *row.answer == '\0') << row.story << ": " << answer;
    }
}

TEST_F(McpProtocolTest, ACallIsHandedOnAndAnsweredUnderItsId) {
    const McpReaction reaction = protocol.take(
        R"({"jsonrpc":"2.0","id":"c","method":"tools/call","params":{"name":"get_bug","arguments":{"bug_id":"x"}}})");
    ASSERT_EQ(reaction.calls.size(), 1U);
    EXPECT_TRUE(reaction.answers.empty());
    EXPECT_EQ(reaction.calls[0].tool, "get_bug");
    EXPECT_EQ(json::serialize(reaction.calls[0].arguments), R"({"bug_id":"x"})");
    EXPECT_EQ(
        json::serialize(McpProtocol::answerTo(reaction.calls[0], {.text = "No.", .isError = true})),
        R"({"jsonrpc":"2.0","id":"c","result":{"content":[{"type":"text","text":"No."}],"isError":true}})");
}

TEST_F(McpProtocolTest, ARequestThatNamesItsVersionNeedsNoHandshake) {
    const auto request = [](const std::string& method, const std::string& version) {
        return R"({"jsonrpc":"2.0","id":1,"method":")" + method +
               R"(","params":{"_meta":{"io.modelcontextprotocol/protocolVersion":")" + version +
               R"(","io.modelcontextprotocol/clientCapabilities":{}},"name":"get_bug"}})";
    };
    const std::string discovered = answers(request("server/discover", "2026-07-28"));
    for (const char* part :
         {R"("supportedVersions":["2026-07-28","2025-11-25",)", R"("resultType":"complete")",
          R"("io.modelcontextprotocol/serverInfo":{"name":"quernlight")", R"("ttlMs":)"}) {
        EXPECT_THAT(discovered, HasSubstr(part));
    }
    EXPECT_THAT(answers(request("tools/list", "2026-07-28")), HasSubstr(R"("cacheScope":"public")"));
    EXPECT_THAT(answers(request("ping", "2026-07-28")), HasSubstr("-32601"));
    EXPECT_THAT(answers(request("initialize", "2026-07-28")), HasSubstr("-32601"));
    EXPECT_THAT(answers(request("tools/list", "2027-01-01")),
                testing::AllOf(HasSubstr(R"("code":-32022)"), HasSubstr(R"("requested":"2027-01-01")")));
    const McpReaction call = protocol.take(request("tools/call", "2026-07-28"));
    EXPECT_THAT(json::serialize(McpProtocol::answerTo(call.calls.at(0), {.text = "ok"})),
                HasSubstr(R"("resultType":"complete")"));
}

TEST_F(McpProtocolTest, OnlyTheFirstVersionsHaveBatches) {
    const std::string batch = R"([{"jsonrpc":"2.0","id":1,"method":"ping"},{"jsonrpc":"2.0","method":"x"},7,)"
                              R"({"jsonrpc":"2.0","id":2,"method":"initialize"}])";
    agreedVersion("2025-03-26");
    const McpReaction reaction = protocol.take(batch);
    EXPECT_TRUE(reaction.isBatch);
    EXPECT_EQ(reaction.answers.size(), 3U);
    EXPECT_THAT(json::serialize(reaction.answers.at(2)), HasSubstr("must stand by itself"));
    EXPECT_THAT(answers("[]"), HasSubstr("-32600"));
    agreedVersion("2025-06-18");
    EXPECT_FALSE(protocol.take(batch).isBatch);
    EXPECT_THAT(answers(batch), HasSubstr("This version has no batches."));
}

}  // namespace
}  // namespace quernlight::host
