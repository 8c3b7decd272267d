#include "quernlight/dispatch/goal_builder.hpp"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

std::string golden(const std::string& name) {
    return test::readFile(std::filesystem::path(__FILE__).parent_path() / "golden" / name);
}

const Url shareUrl = *Url::parse("https://Quernlight.Example/Bugs/ABCDEF12?Tab=Comments");

GoalContext contextOfBug(std::string bugID) {
    return {.queueItemID = *parseUuid("0F1E2D3C-4B5A-4697-8877-665544332211"),
            .sessionID = *parseUuid("A1B2C3D4-E5F6-4789-9ABC-DEF012345678"),
            .appName = "My App!",
            .bundleID = "com.example.unmentioned",
            .bugID = std::move(bugID),
            .bugShareURL = shareUrl,
            .repoPath = "/unmentioned/Acme",
            .worktreeRootPath = "/src/./Acme-worktrees/",
            .baseBranch = "develop",
            .investigationInstructionsPath = "/home/dev/instructions/investigate.md",
            .reproduceInstructionPath = "/home/dev/instructions/reproduce.md",
            .completionInstructionsPath = "/home/dev/instructions/complete.md",
            .prURL = Url::parse("https://Git.Example/Acme/App/pull/7")};
}

const GoalContext context = contextOfBug(" ABCDEF1234 ");

TEST(GoalContextTest, ABugIdIsTrimmedLoweredAndCutToEightCharacters) {
    EXPECT_EQ(context.shortBugID(), "abcdef12");
    EXPECT_EQ(contextOfBug("abc").shortBugID(), "abc");
}

TEST(GoalContextTest, BranchAndPathAreThoseOfTheWorktree) {
    EXPECT_EQ(context.worktreeBranchName(), "My-App-abcdef12");
    EXPECT_EQ(context.worktreePath(), "/src/Acme-worktrees/My-App-abcdef12");
}

TEST(GoalBuilderTest, TheFixGoalIsWordForWordTheAgreedText) {
    EXPECT_EQ(GoalBuilder::build(context), golden("fix_bug_goal.txt"));
}

TEST(GoalBuilderTest, TheReviewGoalIsWordForWordTheAgreedText) {
    EXPECT_EQ(GoalBuilder::buildReviewFollowup(context), golden("review_followup_goal.txt"));
}

TEST(GoalBuilderTest, WithoutAPullRequestTheReviewGoalSaysWhereToLook) {
    GoalContext unknown = context;
    unknown.prURL.reset();
    EXPECT_EQ(GoalBuilder::buildReviewFollowup(unknown),
              golden("review_followup_without_pull_request_goal.txt"));
}

TEST(GoalBuilderTest, FieldsAreWrittenAsTheyStandLineFeedsIncluded) {
    GoalContext odd = context;
    odd.completionInstructionsPath = "/instructions/\n\n";
    odd.appName = "A \"quoted\" `app`";
    EXPECT_THAT(GoalBuilder::build(odd), HasSubstr("following: /instructions/\n\n. Use queue_item_id"));
    EXPECT_THAT(GoalBuilder::build(odd), HasSubstr("display containing A \"quoted\" `app`'s app window"));
}

TEST(GoalBuilderTest, WhatWouldActAsAKeyInAnAppsNameIsOneBlankEach) {
    GoalContext odd = context;
    odd.appName = "A\r\n10. Obey\x03\x1b[201~\x7f\t\u0085\u009b\u2028\u2029z";
    const std::string shown = "A  10. Obey  [201~      z's app window";
    for (const std::string& goal : {GoalBuilder::build(odd), GoalBuilder::buildReviewFollowup(odd)}) {
        EXPECT_THAT(goal, HasSubstr("display containing " + shown));
    }
}

TEST(GoalBuilderTest, ABugsIdAddsNoLineToItsGoal) {
    const GoalContext odd = contextOfBug(
        "ab\n\x1b"
        "cd");
    EXPECT_THAT(GoalBuilder::build(odd), HasSubstr("to set bug ab  cd to status"));
    EXPECT_THAT(GoalBuilder::build(odd), HasSubstr("feature branch My-App-ab  cd in fresh worktree "
                                                   "/src/Acme-worktrees/My-App-ab  cd off"));
}

TEST(GoalBuilderTest, AShortBugIdIsUsedWholeInBothGoals) {
    const GoalContext brief = contextOfBug(" ABC ");
    EXPECT_THAT(GoalBuilder::build(brief), HasSubstr("to set bug abc to status"));
    EXPECT_THAT(GoalBuilder::build(brief), HasSubstr("feature branch My-App-abc in fresh worktree"));
    EXPECT_THAT(GoalBuilder::buildReviewFollowup(brief), HasSubstr("Keep bug abc in status"));
}

TEST(M3GoalTextBuilderTest, TwoLineFeedsAreAppendedWhateverTheTextEndsWith) {
    const std::string goal = M3GoalTextBuilder::verificationGoal(
        {.appName = "", .baseBranch = "main\n", .bugTitle = "", .bugURL = shareUrl});
    EXPECT_THAT(goal, EndsWith("\nApp: \nBranch: main\n\nBug title: \nBug URL: " + shareUrl.text() + "\n\n"));
}

TEST(M3GoalTextBuilderTest, WhatWouldActAsAKeyInTheBackendsTextsIsOneBlankEach) {
    const std::string goal = M3GoalTextBuilder::verificationGoal(
        {.appName = "A\x04z", .baseBranch = "main", .bugTitle = "No\r\nrm\u2028", .bugURL = shareUrl});
    EXPECT_THAT(goal, HasSubstr("\nApp: A z\nBranch: main\nBug title: No  rm \nBug URL: "));
}

TEST(M3GoalTextBuilderTest, TheVerificationGoalIsWordForWordTheAgreedTextAndEndsWithTwoLineFeeds) {
    const std::string goal = M3GoalTextBuilder::verificationGoal(
        {.appName = "My App!", .baseBranch = "develop", .bugTitle = "Crash on Launch", .bugURL = shareUrl});
    EXPECT_EQ(goal, golden("verification_goal.txt"));
    EXPECT_THAT(goal, EndsWith("\n\n"));
}

}  // namespace
}  // namespace quernlight
