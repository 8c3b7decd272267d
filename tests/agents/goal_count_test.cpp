#include <gtest/gtest.h>

#include "tests/agents/one_bug_fixture.hpp"

namespace quernlight {
namespace {

/// As many characters as the dispatcher pastes at a time; agents keep a longer paste in a file.
constexpr std::size_t longestPaste = 700;

class GoalCountTest : public test::OneBugFixture {
  protected:
    void givesAgain(const std::string& goal) {
        types("/goal ");
        EXPECT_TRUE(comes([&] { return isOnScreen("› /goal"); })) << seen();
        for (std::size_t at = 0; at < goal.size(); at += longestPaste) {
            types("\x1b[200~" + goal.substr(at, longestPaste) + "\x1b[201~");
        }
        const std::string end = goal.substr(goal.rfind("PR URL"));
        EXPECT_TRUE(comes([&] { return isOnScreen(end); })) << seen();
        pressesEnter();
    }
};

/// What other tests rest on when they say that a goal was taken once: the agent's records would tell
/// otherwise.
TEST_P(GoalCountTest, AGoalThatAPersonGivesAgainIsCountedTwice) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "wait"}, {"seconds", 3600}}));
    ASSERT_TRUE(comes([&] { return isInHistory("goalAccepted"); })) << seen();
    const std::string goal = attempts().front().goal;
    EXPECT_EQ(agentRecords().timesSubmitted(goal), 1U);
    EXPECT_EQ(agentRecords().timesGiven(goal), 1U);
    givesAgain(goal);
    EXPECT_TRUE(comes([&] { return agentRecords().timesSubmitted(goal) == 2; })) << seen();
    EXPECT_TRUE(comes([&] { return isOnScreen("Replace goal?"); })) << seen();
    EXPECT_EQ(agentRecords().timesGiven(goal), 1U);
    pressesEnter();
    EXPECT_TRUE(comes([&] { return agentRecords().timesGiven(goal) == 2; })) << seen();
    expectNoFailure();
}

INSTANTIATE_TEST_SUITE_P(Agents, GoalCountTest, testing::ValuesIn(test::releases()), test::nameOfRelease);

}  // namespace
}  // namespace quernlight
