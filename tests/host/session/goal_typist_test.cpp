#include "host/session/goal_typist.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/agent_screen_fixture.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

class GoalTypistTest : public test::AgentScreenFixture {
  protected:
    void type() {
        const QueueRepository items =
            store.items.observedBy([this](const QueueEvent&, const std::string&) { whenStored(); });
        tasks.add("typing", typeGoal({.itemID = bug,
                                      .sessionID = sessionID,
                                      .goal = "/goal Fix bug 3f2a9c1d.",
                                      .dialogs = {},
                                      .runner = agent,
                                      .screen = launch.screen(),
                                      .items = items,
                                      .clock = time,
                                      .findRecord = [this](std::string) { return recorded(); },
                                      .mailbox = launch.mailbox(),
                                      .isWanted = [] { return true; },
                                      .isPersonTyping = [this] { return isPersonTyping; },
                                      .onTrouble = [](const DatabaseError&) {}}));
        settle();
    }

    /// Whether the session is told that, of what it has not heard yet.
    template <class Event>
    bool hears() {
        auto event = run(launch.nextUntil(time.steadyNow()));
        while (event && !std::holds_alternative<Event>(*event)) {
            event = run(launch.nextUntil(time.steadyNow()));
        }
        return event.has_value();
    }

    std::function<void()> whenStored = [] {};
    bool isPersonTyping = false;
    std::function<void()> whileAskingRecords = [] {};

  private:
    /// The agent's databases take their time.
    Task<GoalRecord> recorded() {
        std::exchange(whileAskingRecords, [] {})();
        co_await time.sleepFor(seconds(1));
        co_return agent.recordOf("Fix bug 3f2a9c1d.");
    }
};

TEST_F(GoalTypistTest, TypesTheGoalOnceTheScreenIsDrawn) {
    stopDrawing();
    agent.say("Looking into it\n");
    type();
    advance(seconds(5));
    EXPECT_EQ(history(bug), "enqueued awaitingComposer");
    drawAgain();
    advance(seconds(10));
    EXPECT_THAT(agent.goals, ElementsAre("Fix bug 3f2a9c1d."));
}

TEST_F(GoalTypistTest, NoKeyComesBetweenAPersonsKeys) {
    isPersonTyping = true;
    type();
    advance(seconds(300));
    EXPECT_EQ(history(bug), "enqueued");
    isPersonTyping = false;
    advance(seconds(10));
    EXPECT_THAT(agent.goals, ElementsAre("Fix bug 3f2a9c1d."));
}

TEST_F(GoalTypistTest, WhoTypesWhileTheGoalIsStoredComesFirst) {
    whenStored = [this] { isPersonTyping = true; };
    type();
    advance(seconds(30));
    EXPECT_THAT(agent.goals, IsEmpty());
    whenStored = [] {};
    isPersonTyping = false;
    advance(seconds(30));
    EXPECT_THAT(agent.goals, ElementsAre("Fix bug 3f2a9c1d."));
}

TEST_F(GoalTypistTest, WhoTypesBetweenTheGoalsKeysComesFirst) {
    whileAskingRecords = [this] { isPersonTyping = true; };  // its command stands there by then
    type();
    advance(seconds(30));
    ASSERT_TRUE(isPersonTyping);
    EXPECT_THAT(launch.screen().picture()->lines, testing::Not(Contains(testing::HasSubstr("Fix bug"))));
    isPersonTyping = false;
    advance(seconds(30));
    EXPECT_THAT(agent.goals, ElementsAre("Fix bug 3f2a9c1d."));
}

TEST_F(GoalTypistTest, AnAgentWithoutAComposerIsRecordedOnce) {
    agent.showInstead("Loading");
    type();
    advance(seconds(10));
    agent.showAgain();
    advance(seconds(10));
    EXPECT_EQ(history(bug), "enqueued awaitingComposer typing");
    EXPECT_THAT(
        run(store.items.events(bug)),
        Contains(Field(&QueueEvent::message, "Waiting for the agent's composer; its screen shows: Loading")));
}

TEST_F(GoalTypistTest, NothingIsTypedIntoAQuestionThatIsNotDrawnYet) {
    stopDrawing();
    askInstead();
    type();
    advance(seconds(5));
    drawAgain();
    advance(seconds(5));
    EXPECT_EQ(agent.keysWhileCovered, "");
    agent.showAgain();
    advance(seconds(10));
    EXPECT_THAT(agent.goals, ElementsAre("Fix bug 3f2a9c1d."));
}

TEST_F(GoalTypistTest, NothingIsTypedIntoAQuestionThatComesWhileTheRecordsAreAsked) {
    whileAskingRecords = [this] { askInstead(); };
    type();
    advance(seconds(5));
    EXPECT_EQ(agent.keysWhileCovered, "");
}

TEST_F(GoalTypistTest, NothingIsTypedIntoAQuestionThatComesWhileTheTypingIsStored) {
    bool isAsked = false;
    whenStored = [this, &isAsked] {
        if (!std::exchange(isAsked, true)) {
            stopDrawing();
            askInstead();
        }
    };
    type();
    advance(seconds(5));
    EXPECT_TRUE(isAsked);
    EXPECT_EQ(agent.keysWhileCovered, "");
    EXPECT_EQ(history(bug), "enqueued typing awaitingComposer");
    EXPECT_FALSE(hears<GoalTypingBegins>());
    drawAgain();
    agent.showAgain();
    advance(seconds(10));
    EXPECT_TRUE(hears<GoalTypingBegins>());
    EXPECT_THAT(agent.goals, ElementsAre("Fix bug 3f2a9c1d."));
}

TEST_F(GoalTypistTest, AScreenThatStaysBehindIsToldAsSuch) {
    stopDrawing();
    agent.say("Looking into it\n");
    type();
    advance(seconds(120));
    auto event = run(launch.nextUntil(time.steadyNow()));
    while (event && !std::holds_alternative<GoalRefused>(*event)) {
        event = run(launch.nextUntil(time.steadyNow()));
    }
    ASSERT_TRUE(event);
    EXPECT_THAT(std::get<GoalRefused>(*event).reason, testing::HasSubstr("faster than its screen is drawn"));
}

}  // namespace
}  // namespace quernlight::host
