#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "standin/backend/object_reader.hpp"
#include "tests/standin/model_request.hpp"

namespace quernlight::standin::model {
namespace {

using test::GoalNames;
using test::ModelRequest;
using test::objectiveFor;
using testing::ElementsAre;
using testing::IsEmpty;

struct Told {
    const char* name;
    ModelRequest request;
    std::string objective;
};

class ToldGoalTest : public testing::TestWithParam<Told> {};

TEST_P(ToldGoalTest, TheGoalInForceIsFound) {
    EXPECT_EQ(GetParam().request.conversation().objective, GetParam().objective);
}

INSTANTIATE_TEST_SUITE_P(
    StandinModel, ToldGoalTest,
    testing::Values(
        Told{"in_an_element", ModelRequest().goal("a\nb"), "a\nb"},
        Told{"in_an_element_with_entities", ModelRequest().goal("a &lt;b&gt; &amp; c"), "a <b> & c"},
        Told{"as_an_output_without_a_call", ModelRequest().goalObjective("a <b>"), "a <b>"},
        Told{"typed_as_a_plain_message", ModelRequest().userSays("/goal\na"), "a"},
        Told{"the_latest_counts", ModelRequest().goalObjective("old").goalObjective("new"), "new"},
        Told{"none", ModelRequest().userSays("Hello"), ""}),
    [](const auto& row) { return row.param.name; });

TEST(StandinModelConversationTest, AGoalOfTheDispatcherNamesItsBugAndItsSession) {
    const auto conversation =
        ModelRequest().thread("t-1").goalObjective(objectiveFor({.bugID = "77777777"})).conversation();
    EXPECT_EQ(conversation.thread, "t-1");
    EXPECT_EQ(conversation.bugID(), "77777777");
    EXPECT_EQ(conversation.sessionID(), GoalNames().sessionID);
}

TEST(StandinModelConversationTest, OnlyWhatAPersonTypedIsAUsersText) {
    const auto conversation = ModelRequest()
                                  .goal("a")
                                  .userSays("<environment_context>\n</environment_context>")
                                  .userSays("# AGENTS.md instructions for /src")
                                  .userSays("2. Investigate this")
                                  .conversation();
    EXPECT_THAT(conversation.userTexts, ElementsAre("2. Investigate this"));
}

TEST(StandinModelConversationTest, AToolIsFoundAloneInAGroupAndUnderAPrefix) {
    const auto conversation = ModelRequest()
                                  .tool("exec_command")
                                  .tool("mcp__quernlight__get_bug")
                                  .grouped("mcp__quernlight", "create_comment")
                                  .conversation();
    EXPECT_EQ(conversation.toolNamed("exec_command"), (OfferedTool{"exec_command", ""}));
    EXPECT_EQ(conversation.toolNamed("get_bug"), (OfferedTool{"mcp__quernlight__get_bug", ""}));
    EXPECT_EQ(conversation.toolNamed("create_comment"), (OfferedTool{"create_comment", "mcp__quernlight"}));
    EXPECT_EQ(conversation.toolNamed("shell"), std::nullopt);
}

TEST(StandinModelConversationTest, AnOutputMayBeATextOrPieces) {
    const boost::json::array pieces{{{"type", "input_text"}, {"text", "one "}},
                                    {{"type", "input_text"}, {"text", "two"}}};
    const auto conversation =
        ModelRequest()
            .output("c1", "all")
            .item({{"type", "function_call_output"}, {"call_id", "c2"}, {"output", pieces}})
            .conversation();
    ASSERT_EQ(conversation.outputs.size(), 2U);
    EXPECT_EQ(conversation.outputs[0].text, "all");
    EXPECT_EQ(conversation.outputs[1].text, "one two");
}

TEST(StandinModelConversationTest, MembersOfAnotherKindAreNotThere) {
    const Request request{
        .method = "POST",
        .target = "/v1/responses",
        .headers = {},
        .body = R"({"input": [1, {"role": 2}, {"type": "message", "role": "user"}], "tools": 3})"};
    const auto conversation = readConversation(request);
    EXPECT_EQ(conversation.objective, "");
    EXPECT_THAT(conversation.tools, IsEmpty());
}

TEST(StandinModelConversationTest, ABodyThatIsNoJSONIsRefused) {
    const Request request{.method = "POST", .target = "/v1/responses", .headers = {}, .body = "{"};
    EXPECT_THROW(readConversation(request), InvalidInput);
}

}  // namespace
}  // namespace quernlight::standin::model
