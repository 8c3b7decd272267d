#include "host/agent/agent_run.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/agent_screen_fixture.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;

class AgentRunTest : public test::AgentScreenFixture {
  protected:
    ~AgentRunTest() override {
        drawAgain();
        advance(seconds(60));
    }

    void stop() {
        agent.endOn("enter");
        tasks.add("stopping", launch.stop([] { return stopEscalation(Settings{}); }, ignore));
        settle();
    }
    std::vector<std::string> steps() const {
        std::vector<std::string> names;
        for (const auto& [name, moment] : agent.steps) {
            names.push_back(name);
        }
        return names;
    }

  private:
    static Task<void> ignore(SessionEvent) { co_return; }
};

TEST_F(AgentRunTest, TheExitCommandIsTypedOnceTheScreenIsDrawn) {
    stopDrawing();
    agent.say("Looking into it\n");
    stop();
    advance(seconds(1));
    EXPECT_THAT(steps(), testing::IsEmpty());
    drawAgain();
    advance(seconds(1));
    EXPECT_THAT(steps(), ElementsAre("exit", "enter"));
}

TEST_F(AgentRunTest, TheExitCommandIsNotTypedIntoAQuestionThatIsNotDrawnYet) {
    stopDrawing();
    askInstead();
    stop();
    advance(seconds(7));
    EXPECT_EQ(agent.keysWhileCovered, "");
    EXPECT_THAT(steps(), ElementsAre("interrupt"));
}

TEST_F(AgentRunTest, EnterIsNotPressedOnAQuestionThatIsNotDrawnYet) {
    stop();
    advance(milliseconds(100));
    EXPECT_THAT(steps(), ElementsAre("exit"));
    stopDrawing();
    askInstead();
    advance(seconds(7));
    EXPECT_EQ(agent.keysWhileCovered, "");
}

/// A question may have been in what was left out.
TEST_F(AgentRunTest, AfterAFloodTheAgentIsHadToDrawItsScreenAnewBeforeAnythingIsTyped) {
    agent.drawsAnew = false;
    agent.flood();
    settle();
    stop();
    EXPECT_THAT(steps(), testing::IsEmpty());
    agent.drawsAnew = true;
    advance(seconds(4));
    EXPECT_THAT(agent.sizes, ElementsAre(std::pair(120, 41), std::pair(120, 40)));
    EXPECT_THAT(steps(), ElementsAre("exit", "enter"));
}

TEST_F(AgentRunTest, NothingIsTypedAfterAFloodToAnAgentThatDoesNotDrawItsScreenAnew) {
    agent.drawsAnew = false;
    agent.flood();
    settle();
    stop();
    advance(seconds(7));
    EXPECT_THAT(steps(), ElementsAre("interrupt"));
}

/// A person may write a last sentence to the agent while it is asked to go.
TEST_F(AgentRunTest, NothingIsTypedBetweenAPersonsKeysWhileTheAgentIsStopped) {
    run(launch.terminal()->type("w"));
    run(launch.terminal()->type("\x15"));
    agent.showAgain();
    stop();
    advance(seconds(2));
    EXPECT_THAT(steps(), testing::Not(testing::Contains("exit")));
    EXPECT_THAT(agent.steps, testing::Not(testing::Contains(testing::Pair("enter", testing::_))));
    advance(seconds(60));
    EXPECT_THAT(steps(), testing::Contains("interrupt"));
}

/// A size that is asked for, and the one that terminal and screen get.
struct SizeRow {
    std::string name;
    TerminalSize asked, given;
};

class TerminalSizeTest : public test::AgentScreenFixture, public testing::WithParamInterface<SizeRow> {};

TEST_P(TerminalSizeTest, IsOneInWhichTheScreenCanBeRead) {
    const auto [name, asked, given] = GetParam();
    AgentRun other{agent, drawing, time, sessionID, "bug 3f2a9c1d"};
    run(other.start(tasks, {.sessionID = sessionID, .columns = asked.columns, .rows = asked.rows}));
    EXPECT_EQ(agent.request->columns, given.columns);
    EXPECT_EQ(agent.request->rows, given.rows);
    EXPECT_EQ(other.screen().picture()->columns, given.columns);
    EXPECT_EQ(other.screen().picture()->rows, given.rows);
    run(tasks.end());
}

INSTANTIATE_TEST_SUITE_P(Rows, TerminalSizeTest,
                         testing::Values(SizeRow{"AsAsked", {120, 40}, {120, 40}},
                                         SizeRow{"TooSmall", {20, 5}, {80, 24}},
                                         SizeRow{"TooLarge", {65535, 65535}, {1000, 500}}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quernlight::host
