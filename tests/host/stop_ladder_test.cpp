#include "host/session/stop_ladder.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

milliseconds total(const StopLadder& ladder) {
    milliseconds sum{0};
    for (const StopRung& rung : ladder) {
        sum += rung.patience;
    }
    return sum;
}

TEST(StopLadderTest, ClimbsFromTheExitCommandOverALoneEnterToAKill) {
    const StopLadder expected{{{TerminationMode::requestExitCommand, milliseconds(2000)},
                               {std::nullopt, milliseconds(2000)},
                               {TerminationMode::interrupt, milliseconds(3000)},
                               {TerminationMode::terminate, milliseconds(5000)},
                               {TerminationMode::kill, milliseconds(10000)}}};
    EXPECT_EQ(stopLadder(Settings{}), expected);
}

TEST(StopLadderTest, ItsPatienceIsThatOfTheSettings) {
    const StopLadder ladder = stopLadder(Settings{.stopExitSeconds = 0.5, .stopKillSeconds = 1});
    EXPECT_EQ(ladder.front().patience, milliseconds(500));
    EXPECT_EQ(ladder.back().patience, milliseconds(1000));
}

TEST(StopLadderTest, AtAShutdownItWaitsNoLongerThanItMayHoweverPatientTheSettingsAre) {
    const Settings patient{.stopExitSeconds = 600, .stopEnterSeconds = 600, .stopKillSeconds = 600};
    const StopLadder ladder = shrunk(stopLadder(patient), ladderTimeAtShutdown);
    EXPECT_LE(total(ladder), ladderTimeAtShutdown);
    EXPECT_LT(ladderTimeAtShutdown, std::chrono::seconds(20));
    EXPECT_EQ(ladder.front().mode, TerminationMode::requestExitCommand);
    EXPECT_GT(ladder.front().patience, ladder[2].patience);
}

TEST(StopLadderTest, ASecondSignalLeavesPatienceWithTheKillOnly) {
    const StopLadder ladder = onlyKill(stopLadder(Settings{}));
    EXPECT_EQ(total(ladder), milliseconds(10000));
    EXPECT_EQ(ladder.back(), (StopRung{TerminationMode::kill, milliseconds(10000)}));
}

TEST(StopLadderTest, OneThatIsQuickEnoughIsNotShrunk) {
    const StopLadder quick = stopLadder(Settings{.stopTerminateSeconds = 1, .stopKillSeconds = 1});
    EXPECT_EQ(shrunk(quick, ladderTimeAtShutdown), quick);
}

}  // namespace
}  // namespace quernlight::host
