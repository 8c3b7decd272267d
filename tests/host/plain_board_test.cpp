#include "host/plain_board.hpp"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

/// What the board printed, the times replaced by "T".
class PlainBoardTest : public testing::Test {
  protected:
    void show(const std::string& stage, const std::string& detail = "", bool finished = false) {
        board.show({.bugID = "3f2a9c1d",
                    .appName = "Shop",
                    .title = "Crash",
                    .stage = stage,
                    .detail = detail,
                    .finished = finished});
    }
    std::string printed() const {
        std::istringstream lines(stream.str());
        std::string text;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_THAT(line.substr(0, 10), testing::MatchesRegex("[0-9]+:[0-9]+:[0-9]+Z "));
            text += "T " + line.substr(10) + "\n";
        }
        return text;
    }

    std::ostringstream stream;
    PlainBoard board{stream};
};

TEST_F(PlainBoardTest, EveryChangeOfStageIsOneLine) {
    show("queued");
    show("working");
    EXPECT_EQ(printed(), "T 3f2a9c1d  queued: Crash\nT 3f2a9c1d  working\n");
}

TEST_F(PlainBoardTest, TheAgentsLinesWithinAStageAreNotPrinted) {
    show("working");
    show("working", "Reading the bug");
    show("working", "Writing a test");
    EXPECT_EQ(printed(), "T 3f2a9c1d  working\n");
}

TEST_F(PlainBoardTest, TheLastLineSaysWhy) {
    show("failed", "Idle timeout elapsed before completion.", true);
    EXPECT_EQ(printed(), "T 3f2a9c1d  failed: Idle timeout elapsed before completion.\n");
}

TEST_F(PlainBoardTest, EveryBugHasStagesOfItsOwn) {
    show("working");
    board.show({.bugID = "77777777", .stage = "working"});
    EXPECT_EQ(printed(), "T 3f2a9c1d  working\nT 77777777  working\n");
}

TEST_F(PlainBoardTest, ANoteIsALineOfItsOwn) {
    board.note("Stopping the sessions.");
    EXPECT_EQ(printed(), "T Stopping the sessions.\n");
}

}  // namespace
}  // namespace quernlight::host
