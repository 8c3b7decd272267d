#include <gtest/gtest.h>

#include "standin/codex/goal.hpp"
#include "tests/standin/goal_samples.hpp"

namespace quernlight::standin::codex {
namespace {

using test::fixGoal;
using test::followupGoal;
using test::GoalNames;

const std::string pullRequest = "https://git.example/Acme/Shop/pull/7";

TEST(StandinCodexGoalTest, AFixGoalNamesBugWorktreeBranchAndIdentifiers) {
    const auto goal = parseGoal(fixGoal({}));
    ASSERT_TRUE(goal);
    EXPECT_EQ(*goal, (Goal{.flow = GoalFlow::fixBug,
                           .bugID = "3f2a9c1d",
                           .shareURL = "https://bugs.example/bugs/3f2a9c1d",
                           .worktreeRoot = "/src/Acme-worktrees",
                           .worktreePath = "/src/Acme-worktrees/My-App-3f2a9c1d",
                           .branch = "My-App-3f2a9c1d",
                           .baseBranch = "main",
                           .completionInstructionsPath = "/home/dev/instructions/completion.md",
                           .queueItemID = "11111111-2222-4333-8444-555555555555",
                           .sessionID = "66666666-7777-4888-9999-aaaaaaaaaaaa",
                           .prURL = ""}));
}

TEST(StandinCodexGoalTest, AFollowupGoalNamesThePullRequestInItsOwnCaseAndNoBaseBranch) {
    const auto goal = parseGoal(followupGoal({}, pullRequest));
    ASSERT_TRUE(goal);
    EXPECT_EQ(goal->flow, GoalFlow::reviewFollowup);
    EXPECT_EQ(goal->bugID, "3f2a9c1d");
    EXPECT_EQ(goal->prURL, pullRequest);
    EXPECT_EQ(goal->branch, "My-App-3f2a9c1d");
    EXPECT_EQ(goal->worktreePath, "/src/Acme-worktrees/My-App-3f2a9c1d");
    EXPECT_EQ(goal->sessionID, "66666666-7777-4888-9999-aaaaaaaaaaaa");
    EXPECT_EQ(goal->baseBranch, "");
}

TEST(StandinCodexGoalTest, AFollowupThatDoesNotKnowItsPullRequestHasNoUrl) {
    const auto goal = parseGoal(followupGoal({}, "the bug's `pr_url` or the PR link in existing comments"));
    ASSERT_TRUE(goal);
    EXPECT_EQ(goal->prURL, "");
}

TEST(StandinCodexGoalTest, PathsMayHoldBlanksAndFullStops) {
    const GoalNames names{.worktreeRoot = "/src/My work. trees", .completionInstructions = "/a b/c. d.md"};
    const auto goal = parseGoal(fixGoal(names));
    ASSERT_TRUE(goal);
    EXPECT_EQ(goal->worktreePath, "/src/My work. trees/My-App-3f2a9c1d");
    EXPECT_EQ(goal->completionInstructionsPath, "/a b/c. d.md");
}

TEST(StandinCodexGoalTest, AGoalWithoutItsClosingSentenceIsNotUnderstood) {
    std::string text = fixGoal({});
    text.resize(text.find("9. Finally"));
    EXPECT_FALSE(parseGoal(text));
}

TEST(StandinCodexGoalTest, AnyOtherGoalIsACommandWithoutAnOrder) {
    const std::string text = "/goal M3 runner verification only. Do not modify files.";
    EXPECT_TRUE(isGoalCommand(text));
    EXPECT_FALSE(parseGoal(text));
    EXPECT_FALSE(isGoalCommand("fix it"));
}

}  // namespace
}  // namespace quernlight::standin::codex
