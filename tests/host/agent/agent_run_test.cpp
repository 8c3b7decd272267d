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

}  // namespace
}  // namespace quernlight::host
