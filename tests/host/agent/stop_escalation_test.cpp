#include "host/agent/stop_escalation.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

milliseconds total(const StopEscalation& escalation) {
    milliseconds sum{0};
    for (const StopStep& step : escalation) {
        sum += step.timeout;
    }
    return sum;
}

TEST(StopEscalationTest, ClimbsFromTheExitCommandOverALoneEnterToAKill) {
    const StopEscalation expected{{{StopAction::typeExit, milliseconds(5000)},
                                   {StopAction::pressEnter, milliseconds(2000)},
                                   {StopAction::interrupt, milliseconds(3000)},
                                   {StopAction::terminate, milliseconds(5000)},
                                   {StopAction::kill, milliseconds(10000)}}};
    EXPECT_EQ(stopEscalation(Settings{}), expected);
}

TEST(StopEscalationTest, ItsPatienceIsThatOfTheSettings) {
    const StopEscalation escalation = stopEscalation(Settings{.stopExitSeconds = 0.5, .stopKillSeconds = 1});
    EXPECT_EQ(escalation.front().timeout, milliseconds(500));
    EXPECT_EQ(escalation.back().timeout, milliseconds(1000));
}

TEST(StopEscalationTest, AtAShutdownItWaitsNoLongerThanItMayHoweverPatientTheSettingsAre) {
    const Settings patient{.stopExitSeconds = 600, .stopEnterSeconds = 600, .stopKillSeconds = 600};
    const StopEscalation escalation = shortened(stopEscalation(patient), escalationTimeAtShutdown);
    EXPECT_LE(total(escalation), escalationTimeAtShutdown);
    EXPECT_LT(escalationTimeAtShutdown, std::chrono::seconds(20));
    EXPECT_EQ(escalation.front().action, StopAction::typeExit);
    EXPECT_GT(escalation.front().timeout, escalation[2].timeout);
}

TEST(StopEscalationTest, ASecondSignalLeavesPatienceWithTheKillOnly) {
    const StopEscalation escalation = killOnly(stopEscalation(Settings{}));
    EXPECT_EQ(total(escalation), milliseconds(10000));
    EXPECT_EQ(escalation.back(), (StopStep{StopAction::kill, milliseconds(10000)}));
}

TEST(StopEscalationTest, OneThatIsQuickEnoughIsNotShrunk) {
    const StopEscalation quick = stopEscalation(Settings{.stopTerminateSeconds = 1, .stopKillSeconds = 1});
    EXPECT_EQ(shortened(quick, escalationTimeAtShutdown), quick);
}

TEST(StopEscalationTest, AShorterOneLeavesTheAgentItsTimeToExitByItself) {
    const StopEscalation escalation = escalationAt(StopLevel::stop, Settings{});
    EXPECT_EQ(escalation.front(), (StopStep{StopAction::typeExit, milliseconds(5000)}));
    EXPECT_LE(total(escalation), escalationTimeAtShutdown);
    EXPECT_GT(escalation.back().timeout, milliseconds(0));
}

TEST(StopEscalationTest, TheWishToStopTheProgramShortensIt) {
    const Settings patient{.stopExitSeconds = 600};
    EXPECT_EQ(escalationAt(StopLevel::none, patient), stopEscalation(patient));
    EXPECT_EQ(escalationAt(StopLevel::stop, patient),
              shortened(stopEscalation(patient), escalationTimeAtShutdown));
    EXPECT_EQ(escalationAt(StopLevel::kill, patient), killOnly(stopEscalation(patient)));
}

}  // namespace
}  // namespace quernlight::host
