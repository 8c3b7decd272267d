#include "host/health/running_time.hpp"

#include <ostream>

#include <gtest/gtest.h>

#include "host/session/next_step.hpp"

namespace quernlight::host {
namespace {

using std::chrono::seconds;

/// A session that began at second 0 of the wall clock and has said nothing since, with 100 seconds of idle
/// time and 10 of grace.
class RunningTimeTest : public testing::Test {
  protected:
    static Instant wall(int second) { return parseInstant("2026-03-04T05:06:07Z").value() + seconds(second); }
    static ClockReading clocks(int wallSecond, int steadySecond) {
        return {.wall = wall(wallSecond),
                .steady = std::chrono::steady_clock::time_point(seconds(steadySecond))};
    }
    /// Both clocks go on to that second, looked at every second.
    void goOn(int until) {
        for (; steady < until; ++steady) {
            time.look(clocks(steady + 1, steady + 1));
        }
    }
    /// Whether the rules would end the session at that second of the wall clock.
    bool isOverdue(int second) {
        session.commentsKnownAt = wall(second);
        return !std::holds_alternative<KeepWatching>(
            nextStep(countedSince(time.since(), wall(second), session), wall(second),
                     {.idleTimeoutSeconds = 100, .postExitCommentGraceSeconds = 10}));
    }

    int breaks = 0;
    int steady = 0;
    RunningTime time{clocks(0, 0), [this] { ++breaks; }};
    WatchedSession session{.activity = {.startedAt = wall(0)}};
};

TEST_F(RunningTimeTest, WhileTheProgramRunsSilenceCounts) {
    goOn(101);
    EXPECT_EQ(breaks, 0);
    EXPECT_TRUE(isOverdue(101));
}

TEST_F(RunningTimeTest, AProgramThatWasStoppedCountsSilenceAnew) {
    goOn(10);
    time.look(clocks(1000, 1000));
    EXPECT_EQ(breaks, 1);
    EXPECT_FALSE(isOverdue(1100));
    EXPECT_TRUE(isOverdue(1101));
}

TEST_F(RunningTimeTest, AMachineThatSleptWhileTheSteadyClockStoodStillCountsSilenceAnew) {
    goOn(10);
    time.look(clocks(3600, 11));
    EXPECT_EQ(breaks, 1);
    EXPECT_FALSE(isOverdue(3700));
    EXPECT_TRUE(isOverdue(3701));
}

TEST_F(RunningTimeTest, AClockThatIsSetBackCountsSilenceAnew) {
    session.activity.lastOutputAt = wall(10);
    goOn(10);
    time.look(clocks(-3600, 11));
    EXPECT_EQ(breaks, 1);
    EXPECT_FALSE(isOverdue(-3500));
    EXPECT_TRUE(isOverdue(-3499));
}

TEST_F(RunningTimeTest, TheGraceAfterAnExitBeginsAnewToo) {
    session.goalTyped = true;
    session.activity.exitedAt = wall(5);
    session.activity.exitCode = 0;
    goOn(6);
    time.look(clocks(1000, 1000));
    EXPECT_FALSE(isOverdue(1010));
    EXPECT_TRUE(isOverdue(1011));
}

TEST_F(RunningTimeTest, ALateLookAndAClockThatIsCorrectedALittleAreNoBreak) {
    goOn(10);
    time.look(clocks(15, 15));
    time.look(clocks(21, 16));
    EXPECT_EQ(breaks, 0);
}

}  // namespace
}  // namespace quernlight::host
