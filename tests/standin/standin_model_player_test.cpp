#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "standin/backend/object_reader.hpp"
#include "standin/model/player.hpp"
#include "tests/standin/model_request.hpp"

namespace quernlight::standin::model {
namespace {

using test::GoalNames;
using test::ModelRequest;
using test::objectiveFor;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

/// One conversation with the model, as an agent has it: every call comes back before the next request.
class StandinModelPlayerTest : public testing::Test {
  protected:
    StandinModelPlayerTest() {
        request.thread("t-1").tool("exec_command").tool("update_goal");
        for (const char* name : {"update_bug_status", "create_comment"}) {
            request.grouped("mcp__quernlight", name);
        }
        request.goalObjective(objectiveFor({}));
    }

    void plan(const std::string& steps) { plan_ = Plan::fromJson(R"({"default": )" + steps + "}"); }

    /// What the model does next.
    std::string next() {
        turn = player_.answer(plan_, request.conversation(), now);
        const std::size_t begin = turn.response.body.find("step-");
        if (turn.step.starts_with("call ")) {
            request.output(turn.response.body.substr(begin, turn.response.body.find('"', begin) - begin),
                           "done");
        }
        return turn.step;
    }

    ModelRequest request;
    Turn turn;
    Instant now{1'000'000s};

  private:
    Plan plan_;
    Player player_;
};

TEST_F(StandinModelPlayerTest, ABugIsWorkedOnReportedAndItsGoalCompleted) {
    EXPECT_EQ(next(), "call update_bug_status");
    EXPECT_EQ(next(), "call exec_command");
    EXPECT_THAT(turn.response.body, HasSubstr("git add FIXED"));
    EXPECT_EQ(next(), "call create_comment");
    EXPECT_THAT(turn.response.body, HasSubstr("\"namespace\":\"mcp__quernlight\""));
    EXPECT_THAT(turn.response.body, HasSubstr(GoalNames().sessionID));
    EXPECT_EQ(next(), "call update_goal");
    EXPECT_EQ(next(), "say");
    EXPECT_EQ(turn.response.delay, 0ms);
}

TEST_F(StandinModelPlayerTest, AnAgentThatAsksOnAfterTheEndIsAnsweredSlowly) {
    plan("[]");
    EXPECT_EQ(next(), "rest: There is nothing left to do.");
    EXPECT_EQ(turn.response.delay, 0ms);
    next();
    EXPECT_GT(turn.response.delay, 0ms);
}

TEST_F(StandinModelPlayerTest, AWaitIsWaitedOnceEvenWhenItsAnswerNeverArrives) {
    const ModelRequest lost = request;
    plan(R"([{"do": "wait", "seconds": 60}, {"do": "shell", "command": "make"}])");
    next();
    EXPECT_EQ(turn.wait, 60s);
    EXPECT_EQ(turn.response.delay, 60s);
    request = lost;
    EXPECT_EQ(next(), "call exec_command");
    EXPECT_EQ(turn.wait, 0s);
}

TEST_F(StandinModelPlayerTest, ARefusalHappensAsOftenAsThePlanSays) {
    plan(
        R"([{"do": "refuse", "status": 429, "resets_in_seconds": 60, "times": 2}, {"do": "say", "text": "a"}])");
    EXPECT_EQ(next(), "refuse 429");
    EXPECT_EQ(turn.response.status, 429U);
    EXPECT_THAT(turn.response.body, HasSubstr(R"("resets_at":1000060)"));
    EXPECT_EQ(next(), "refuse 429");
    EXPECT_EQ(next(), "say");
}

TEST_F(StandinModelPlayerTest, AWaitAtTheEndOfThePlanIsWaited) {
    plan(R"([{"do": "wait", "seconds": 3600}])");
    EXPECT_EQ(next(), "rest: There is nothing left to do.");
    EXPECT_EQ(turn.response.delay, 3600s);
}

TEST_F(StandinModelPlayerTest, AUsageLimitHoldsUntilItsTime) {
    plan(R"([{"do": "refuse", "status": 429, "until": 1000001}, {"do": "say", "text": "a"}])");
    EXPECT_EQ(next(), "refuse 429");
    EXPECT_THAT(turn.response.body, HasSubstr(R"("resets_at":1000001,"resets_in_seconds":1)"));
    EXPECT_EQ(next(), "refuse 429");
    now += 1s;
    EXPECT_EQ(next(), "say");
}

TEST_F(StandinModelPlayerTest, AUsageLimitMayNameNoTime) {
    plan(R"([{"do": "refuse", "status": 429, "limit": "usage"}])");
    next();
    EXPECT_THAT(turn.response.body, HasSubstr(R"("type":"usage_limit_reached")"));
    EXPECT_THAT(turn.response.body, Not(HasSubstr("resets")));
}

TEST_F(StandinModelPlayerTest, ARefusalMayNameTheTimeToAskAgain) {
    plan(R"([{"do": "refuse", "status": 401, "retry_after": 20}])");
    next();
    EXPECT_EQ(turn.response.headers.back(), (std::pair<std::string, std::string>("Retry-After", "20")));
    EXPECT_THAT(turn.response.body, HasSubstr("invalid_api_key"));
}

TEST_F(StandinModelPlayerTest, ANewGoalInTheConversationStartsThePlanAnewWithoutItsWait) {
    plan(R"([{"do": "wait", "seconds": 60}, {"do": "shell", "command": "echo {session_id}"}])");
    next();
    EXPECT_EQ(turn.wait, 60s);
    request.goalObjective(objectiveFor({.sessionID = "00000000-0000-4000-8000-000000000000"}));
    EXPECT_EQ(next(), "call exec_command");
    EXPECT_EQ(turn.wait, 0s);
    EXPECT_THAT(turn.response.body, HasSubstr("echo 00000000-0000-4000-8000-000000000000"));
}

TEST_F(StandinModelPlayerTest, WithoutAToolForItTheGoalIsNotCompleted) {
    plan(R"([{"do": "complete"}, {"do": "say", "text": "done"}])");
    request = ModelRequest().thread("t-2").goalObjective(objectiveFor({}));
    EXPECT_EQ(next(), "say");
}

TEST_F(StandinModelPlayerTest, AToolThatIsNotOfferedIsSaidSo) {
    plan(R"([{"do": "tool", "tool": "delete_bug"}])");
    EXPECT_EQ(next(), "rest: No tool is offered for this: delete_bug");
}

TEST_F(StandinModelPlayerTest, WithoutAGoalNothingIsDone) {
    request = ModelRequest().thread("t-2").userSays("Hello").tool("exec_command");
    EXPECT_EQ(next(), "rest: There is no goal that I know how to reach.");
}

struct ShellRow {
    const char* tool;
    const char* arguments;
};

TEST_F(StandinModelPlayerTest, ACommandIsPutAsTheOfferedShellTakesIt) {
    for (const ShellRow& row : {ShellRow{"exec_command", R"({\"cmd\":\"make\"})"},
                                ShellRow{"shell_command", R"({\"command\":\"make\"})"},
                                ShellRow{"shell", R"({\"command\":[\"sh\",\"-c\",\"make\"]})"}}) {
        plan(R"([{"do": "shell", "command": "make"}])");
        request = ModelRequest().thread(row.tool).goalObjective(objectiveFor({})).tool(row.tool);
        next();
        EXPECT_THAT(turn.response.body, HasSubstr(row.arguments));
    }
}

struct BadPlan {
    const char* name;
    const char* text;
};

class BadPlanTest : public testing::TestWithParam<BadPlan> {};

TEST_P(BadPlanTest, IsRefused) {
    EXPECT_THROW(Plan::fromJson(GetParam().text), InvalidInput);
}

INSTANTIATE_TEST_SUITE_P(
    StandinModel, BadPlanTest,
    testing::Values(BadPlan{"no_json", "{"}, BadPlan{"a_misspelt_member", R"({"defualt": []})"},
                    BadPlan{"steps_that_are_no_list", R"({"default": {}})"},
                    BadPlan{"an_unknown_step", R"({"default": [{"do": "dance"}]})"},
                    BadPlan{"a_step_without_its_command", R"({"default": [{"do": "shell"}]})"},
                    BadPlan{"a_bug_without_steps", R"({"bugs": {"3f2a9c1d": 1}})"}),
    [](const auto& row) { return row.param.name; });

TEST(StandinModelPlanTest, ABugOfItsOwnHasItsOwnSteps) {
    const Plan plan = Plan::fromJson(R"({"bugs": {"3f2a9c1d": [{"do": "wait", "seconds": 5}]}})");
    EXPECT_EQ(plan.stepsFor("3f2a9c1d").size(), 1U);
    EXPECT_GT(plan.stepsFor("77777777").size(), 1U);
}

}  // namespace
}  // namespace quernlight::standin::model
