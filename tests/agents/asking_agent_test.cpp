#include <fstream>

#include <boost/json.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agents/one_bug_fixture.hpp"

namespace quernlight {
namespace json = boost::json;
namespace {

using testing::HasSubstr;

/// A model that asks a person before it works, in its agent's terminal or by a comment. With the answer the
/// bug is worked on and reported.
class AskingAgentTest : public test::OneBugFixture {
  protected:
    /// Agents offer their own question tool to a model that works for a goal only where they are told to.
    void letModelAsk() {
        std::ofstream(repository.scratch("codex-home") / "config.toml", std::ios::app)
            << "\n[features]\ndefault_mode_request_user_input = true\n";
    }

    static json::object asking(const std::string& question) {
        const json::array options{{{"label", "Blue"}, {"description", "As the others are."}},
                                  {{"label", "Red"}, {"description", "As it was."}}};
        const json::object asked{
            {"id", "colour"}, {"header", "Colour"}, {"question", question}, {"options", options}};
        return {{"do", "tool"},
                {"tool", "request_user_input"},
                {"arguments", json::object{{"questions", json::array{asked}}}}};
    }

    static json::object commenting(const std::string& status, const std::string& body) {
        return {{"do", "tool"},
                {"tool", "create_comment"},
                {"arguments", json::object{{"bug_id", "{bug_id}"},
                                           {"body", body},
                                           {"status", status},
                                           {"metadata", json::object{{"queue_item_id", "{queue_item_id}"},
                                                                     {"session_id", "{session_id}"},
                                                                     {"status", status}}}}}};
    }

    std::string command(const std::vector<std::string>& words) {
        auto all = words;
        all.insert(all.end(), {"--home", home()});
        const test::Outcome outcome = dispatch(all);
        return outcome.output + outcome.error;
    }
};

TEST_P(AskingAgentTest, AQuestionInTheTerminalIsAPersonsAndItsAnswerReachesTheModel) {
    letModelAsk();
    const json::object work{{"do", "shell"}, {"command", "echo fixed > FIXED && git add FIXED"}};
    startWithPlan(
        {{"default",
          json::array{asking("Which colour should it have?"), work, commenting("in_review", "It has it now."),
                      json::object{{"do", "complete"}}, json::object{{"do", "say"}, {"text", "Done."}}}}});
    ASSERT_TRUE(comes([&] { return isInHistory("needsPerson"); })) << seen();
    EXPECT_THAT(command({"queue", "show", bug()}), HasSubstr("Which colour should it have?"));
    EXPECT_THAT(command({"sessions", "list", "--json"}), HasSubstr("\"needs_person\""));
    EXPECT_THAT(command({"answer", bug(), "Red"}), HasSubstr("sessions attach"));
    types("\x1b[B");
    EXPECT_TRUE(comes([&] { return isOnScreen("› 2. Red"); })) << seen();
    pressesEnter();
    expectCompletion();
    EXPECT_TRUE(modelLog().hasHeard(bug(), "Red")) << seen();
    EXPECT_EQ(attempts().size(), 1U);
}

TEST_P(AskingAgentTest, AQuestionInACommentIsAnsweredByOneInTheSameConversation) {
    startWithPlan({{"default", json::array{commenting("investigate", "Which colour should it have?"),
                                           json::object{{"do", "complete"}},
                                           json::object{{"do", "say"}, {"text", "I have asked."}}}}});
    ASSERT_TRUE(comes([&] { return status(bug()) == "awaitingUserInput"; })) << seen();
    EXPECT_THAT(command({"queue", "show", bug()}), HasSubstr("Which colour should it have?"));
    modelPlays({});
    userComments(bug(), "Red.");
    EXPECT_TRUE(comes([&] { return status(bug()) == "completed"; })) << seen();
    EXPECT_EQ(attempts().size(), 2U) << seen();
    EXPECT_EQ(modelLog().threadsOf(bug()).size(), 1U) << seen();
    expectNoFailure();
}

INSTANTIATE_TEST_SUITE_P(Agents, AskingAgentTest, testing::ValuesIn(test::releases()), test::nameOfRelease);

}  // namespace
}  // namespace quernlight
