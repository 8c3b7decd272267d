#include "host/retirement/retirement_plan.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct Row {
    const char* name;
    RetirementLook look;
    bool isKnown;
    bool goes;
    bool needsPerson;
    const char* sentence;
};

TEST(RetirementPlanTest, OnlyAMergedBugThatNobodyUsesGoes) {
    using enum MergeState;
    const std::vector<Row> rows{
        {"merged",
         {.bugID = "1", .merge = merged},
         true,
         true,
         false,
         "Merged: the bug leaves the queue, and its worktree is gone."},
        {"merged, and the home is gone",
         {.bugID = "1", .merge = merged, .homeIsInPlace = false},
         false,
         false,
         false,
         "Bug 1 stays: the dispatch home was moved, removed or replaced."},
        {"open", {.bugID = "1", .merge = open}, true, false, false, "Bug 1: its pull request is not merged."},
        {"unknown",
         {.bugID = "1", .trouble = "no remote"},
         false,
         false,
         false,
         "Bug 1: whether its pull request is merged is unknown: no remote"},
        {"merged, but worked on",
         {.bugID = "1", .merge = merged, .isWorkedOn = true},
         false,
         false,
         false,
         "Bug 1 is being worked on."},
        {"merged, but somebody took it away",
         {.bugID = "1", .merge = merged, .isInReview = false},
         false,
         false,
         false,
         "Bug 1 is in review no more."},
        {"merged, but its worktree is in use",
         {.bugID = "1", .merge = merged, .blocker = "A shell is in it."},
         true,
         false,
         true,
         "A shell is in it."},
        {"open, and its worktree is in use",
         {.bugID = "1", .merge = open, .blocker = "A shell is in it."},
         true,
         false,
         false,
         "Bug 1: its pull request is not merged."},
    };
    for (const Row& row : rows) {
        const RetirementPlan plan = retirementPlan(row.look);
        EXPECT_EQ(plan.isKnown, row.isKnown) << row.name;
        EXPECT_EQ(plan.goes, row.goes) << row.name;
        EXPECT_EQ(plan.needsPerson, row.needsPerson) << row.name;
        EXPECT_EQ(plan.sentence, row.sentence) << row.name;
    }
}

}  // namespace
}  // namespace quernlight::host
