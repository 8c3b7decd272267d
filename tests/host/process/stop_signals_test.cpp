#include "host/process/stop_signals.hpp"

#include <csignal>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

class StopWishesTest : public testing::Test {
  protected:
    /// How many wishes there are after the signal; 0 when it was none of its own.
    int after(int signal, int milliseconds) {
        return wishes.take(signal, StopSignals::TimePoint() + std::chrono::milliseconds(milliseconds))
            .value_or(0);
    }

    StopSignals wishes;
};

TEST_F(StopWishesTest, EveryControlCIsAWishOfItsOwn) {
    EXPECT_EQ(after(SIGINT, 0), 1);
    EXPECT_EQ(after(SIGINT, 1), 2);
    EXPECT_EQ(wishes.exitStatus(), 130);
}

TEST_F(StopWishesTest, TerminationsWithinASecondAreOneWish) {
    EXPECT_EQ(after(SIGTERM, 0), 1);
    EXPECT_EQ(after(SIGTERM, 3), 0);
    EXPECT_EQ(after(SIGHUP, 999), 0);
    EXPECT_EQ(after(SIGTERM, 1000), 2);
    EXPECT_EQ(wishes.exitStatus(), 0);
}

TEST_F(StopWishesTest, AControlCRightAfterATerminationCounts) {
    EXPECT_EQ(after(SIGTERM, 0), 1);
    EXPECT_EQ(after(SIGINT, 3), 2);
    EXPECT_EQ(after(SIGTERM, 4), 0);
}

TEST_F(StopWishesTest, ATerminalHangsUpOnlyOnce) {
    EXPECT_EQ(after(SIGHUP, 0), 1);
    EXPECT_EQ(after(SIGHUP, 60000), 0);
    EXPECT_EQ(after(SIGTERM, 60000), 2);
    EXPECT_EQ(wishes.exitStatus(), 130);
}

TEST_F(StopWishesTest, TheFirstEndsTheSessionsInOrderAndASecondKillsThem) {
    EXPECT_EQ(stopLevel(0), StopLevel::none);
    EXPECT_EQ(stopLevel(1), StopLevel::stop);
    EXPECT_EQ(stopLevel(2), StopLevel::kill);
    EXPECT_EQ(stopLevel(3), StopLevel::kill);
    EXPECT_EQ(stopSentence(StopLevel::stop), "Stopping sessions; Ctrl-C or SIGTERM once more kills them.");
    EXPECT_EQ(stopSentence(StopLevel::kill), "Killing the sessions.");
}

TEST_F(StopWishesTest, WithoutASignalTheProgramEndsWell) {
    EXPECT_EQ(wishes.exitStatus(), 0);
}

}  // namespace
}  // namespace quernlight::host
