#include "host/screen/dialog.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/screen/recordings.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::Field;

DialogKind kindOf(std::vector<std::string> lines) {
    const auto dialog = dialogOn(screenOf(std::move(lines)));
    if (!dialog) {
        throw std::runtime_error("no dialog");
    }
    return dialog->kind;
}

/// A question with its two options.
struct Asked {
    std::string name;
    std::string question, first, second;
    DialogKind kind;
};

class DialogKindTest : public testing::TestWithParam<Asked> {};

TEST_P(DialogKindTest, IsToldByItsWords) {
    const auto& [name, question, first, second, kind] = GetParam();
    EXPECT_EQ(kindOf({"  " + question, "", "› 1. " + first, "  2. " + second}), kind);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DialogKindTest,
    testing::Values(
        Asked{"ReplaceGoal", "REPLACE GOAL?", "Replace current goal", "Cancel", DialogKind::replaceGoal},
        Asked{"ResumeGoal", "Go on with the paused goal?", "Resume", "Leave", DialogKind::resumeGoal},
        Asked{"ResumeGoalWhoseTitleIsOutOfSight", "session_id 9c5dc2dc, and the PR",
              "Resume goal  Mark it active", "Leave paused  Keep it", DialogKind::resumeGoal},
        Asked{"ReplaceGoalWhoseTitleIsOutOfSight", "session_id 9c5dc2dc, and the PR",
              "Replace current goal  Set it", "Cancel  Keep it", DialogKind::replaceGoal},
        Asked{"Trust", "Do you trust this folder?", "Yes", "No", DialogKind::trust},
        Asked{"Login", "Welcome", "Sign in", "Use an API key", DialogKind::login},
        Asked{"Update", "Update available!", "Update now", "Skip", DialogKind::update},
        Asked{"Command", "Would you like to run it? $ rm trust", "Yes", "No", DialogKind::approval},
        Asked{"CommandAboutUpdates", "Would you like to run it? $ npm update", "Yes", "No",
              DialogKind::approval},
        Asked{"Edit", "Would you like to make these changes?", "Yes", "No", DialogKind::approval},
        Asked{"Tool", "The tool wants to run.", "Allow once", "Decline", DialogKind::approval},
        Asked{"ToolByTheServersName", "Allow the x MCP server to run tool \"replace goal?\"?", "Allow",
              "Cancel", DialogKind::approval},
        Asked{"CommandThatTalksOfReplacing", "Would you like to run it? $ echo Replace current goal?",
              "Yes, proceed", "No", DialogKind::approval},
        Asked{"CommandWhoseOptionReplaces", "Allow command `sed goal`?", "Replace current goal", "Cancel",
              DialogKind::approval},
        Asked{"OptionThatQuotesReplacing", "Run a command for the goal?", "Replace current goal",
              "Yes, and don't ask again for `replace goal`", DialogKind::approval},
        Asked{"FileNamedResumeGoal", "Would you like to edit resume goal?", "Resume goal", "Leave paused",
              DialogKind::approval},
        Asked{"OptionThatQuotesResuming", "Resume goal?", "Allow", "Leave", DialogKind::approval},
        Asked{"CommandThatQuotesALoginMenu", "Would you like to run it? $ echo 1. Sign in", "Yes, proceed",
              "Yes, and don't ask again for commands that start with `codex login`", DialogKind::approval},
        Asked{"CommandThatLogsIn", "$ codex login --api-key", "Yes", "No, log in by hand",
              DialogKind::approval},
        Asked{"CommandThatAsksForTrust", "Do you want to allow `echo Do you trust this`?", "Yes", "No",
              DialogKind::approval},
        Asked{"ApprovalThatTalksOfUpdates", "Would you like to run it? $ echo", "Yes, run it", "Update now",
              DialogKind::approval},
        Asked{"FileThatIsReplaced", "Replace goal.txt?", "Replace it", "Cancel", DialogKind::unknown},
        Asked{"ReplacedAmongOtherThings", "Replace goal?", "Replace current goal", "Delete all",
              DialogKind::unknown},
        Asked{"GoalThatIsOnlyNamed", "What about the goal?", "Resume it", "Leave it", DialogKind::unknown},
        Asked{"WordsThatDoNotBegin", "Welcome", "Please log in", "I trust nobody", DialogKind::unknown},
        Asked{"UsageLimit", "Approaching rate limits", "Switch", "Keep", DialogKind::usageLimit},
        Asked{"Other", "Which colour?", "Red", "Blue", DialogKind::unknown}),
    [](const auto& row) { return row.param.name; });

TEST(DialogTest, IndentedOptionsHaveTheirQuestionAboveThem) {
    const auto dialog = dialogOn(screenOf({"• Earlier", "", "  Well?", "", "  › 1. Yes", "    2. No"}));
    ASSERT_TRUE(dialog);
    EXPECT_EQ(dialog->question, "Well?");
}

/// The goal's own text stands in the question, on lines of its own.
TEST(DialogTest, AGoalWhoseTextLooksLikeAnApprovalIsReplacedAllTheSame) {
    EXPECT_EQ(
        kindOf({"  Replace goal?", "  New objective: Fix it, which asks", "  allow this? $ rm, and",
                "  would you like to", "", "› 1. Replace current goal  Set it", "  2. Cancel  Keep it"}),
        DialogKind::replaceGoal);
}

TEST(DialogTest, NamesItsOptionsAndWhichOneIsSelected) {
    const auto dialog =
        dialogOn(screenOf({"  1. One", "     more", "", "› 2. Two", "  3. Three", "", "  Enter"}));
    ASSERT_TRUE(dialog);
    EXPECT_THAT(dialog->options, ElementsAre(DialogOption{1, "One", false}, DialogOption{2, "Two", true},
                                             DialogOption{3, "Three", false}));
}

TEST(DialogTest, ABoxOverOtherTextHasItsOwnQuestion) {
    const auto dialog = dialogOn(recordedScreen("resume-goal-0.169.0"));
    ASSERT_TRUE(dialog);
    EXPECT_THAT(dialog->question, testing::StartsWith("Resume paused goal? Goal: Fix the bug"));
    EXPECT_THAT(dialog->options,
                ElementsAre(Field(&DialogOption::text, testing::StartsWith("Resume goal")),
                            Field(&DialogOption::text, testing::StartsWith("Leave paused"))));
}

TEST(DialogTest, TheQuestionIsWhatStandsAboveTheOptionsAlone) {
    const auto dialog =
        dialogOn(screenOf({"• Earlier", "", "", "  May I?", "", "  Please.", "", "› 1. Y", "  2. N"}));
    ASSERT_TRUE(dialog);
    EXPECT_EQ(dialog->question, "May I? Please.");
}

}  // namespace
}  // namespace quernlight::host
