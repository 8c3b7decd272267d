#include "host/worktree/worktree_readiness.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

WorktreeFacts finishedWorktree() {
    return {.isThere = true,
            .isDirectory = true,
            .hasGitEntry = true,
            .isWorkingTree = true,
            .isRegistered = true,
            .hasIndex = true,
            .use = WorktreeUse::again};
}

WorktreeFacts initializingWorktree() {
    WorktreeFacts facts = finishedWorktree();
    facts.isInitializing = true;
    facts.hasIndex = false;
    return facts;
}

TEST(WorktreeReadinessTest, AFreePlaceIsTheLibrarysToPrepare) {
    EXPECT_EQ(worktreeStep({}), WorktreeStep(LetPrepare{}));
}

TEST(WorktreeReadinessTest, OneThatMayLeadGitElsewhereIsRefusedWhateverElseItIs) {
    for (WorktreeFacts facts : {finishedWorktree(), initializingWorktree(), WorktreeFacts{}}) {
        facts.distrust = "it leads elsewhere";
        EXPECT_EQ(worktreeStep(facts), WorktreeStep(RefuseWorktree{"it leads elsewhere"}));
    }
}

TEST(WorktreeReadinessTest, AFinishedWorktreeIsUsed) {
    EXPECT_EQ(worktreeStep(finishedWorktree()), WorktreeStep(UseWorktree{}));
}

TEST(WorktreeReadinessTest, NoneThatGitStillMakesIsUsedEvenWithAnIndex) {
    WorktreeFacts facts = initializingWorktree();
    facts.hasIndex = true;
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(LookForChanges{}));
}

TEST(WorktreeReadinessTest, OneWithoutAnIndexIsNotUsed) {
    WorktreeFacts facts = finishedWorktree();
    facts.hasIndex = false;
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(LookForChanges{}));
}

TEST(WorktreeReadinessTest, ABranchGoesWithItsWorktreeOnlyWhenItIsUnused) {
    WorktreeFacts facts = initializingWorktree();
    facts.changes.emplace();
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(RemakeWorktree{.branchToo = false}));
    facts.branchIsUnused = true;
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(RemakeWorktree{.branchToo = true}));
}

TEST(WorktreeReadinessTest, TheBranchOfAFinishedWorktreeThatIsGoneStays) {
    WorktreeFacts facts{.isRegistered = true, .branchIsUnused = true};
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(LookForChanges{}));
    facts.changes.emplace();
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(RemakeWorktree{.branchToo = false}));
}

TEST(WorktreeReadinessTest, OneThatIsAwayIsLeftAloneWhenItIsLockedOrHoldsCommits) {
    WorktreeFacts facts{.isRegistered = true, .isLocked = true};
    EXPECT_EQ(worktreeStep(facts),
              WorktreeStep(RefuseWorktree{"its directory is away, and somebody has locked it"}));
    facts.isLocked = false;
    facts.changes = {{"commit 1234"}};
    EXPECT_EQ(worktreeStep(facts),
              WorktreeStep(RefuseWorktree{"its directory is away, and nothing else holds what was done there "
                                          "(commit 1234)"}));
}

/// What is missing in it may have been deleted by the agent.
TEST(WorktreeReadinessTest, OneThatAnAgentWorkedInAndThatGitCannotOpenIsLeftAlone) {
    WorktreeFacts facts = finishedWorktree();
    facts.isWorkingTree = false;
    facts.hasIndex = false;
    facts.branchIsUnused = true;
    facts.changes.emplace();
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(RefuseWorktree{"git cannot work in it"}));
}

TEST(WorktreeReadinessTest, AnyChangeKeepsItAndThreeAreNamed) {
    WorktreeFacts facts = initializingWorktree();
    facts.branchIsUnused = true;
    facts.changes = {{"a", "b", "c", "d"}};
    EXPECT_EQ(worktreeStep(facts),
              WorktreeStep(RefuseWorktree{"git has not finished making it, and it holds what git did not put "
                                          "there (a, b, c, ...)"}));
}

TEST(WorktreeReadinessTest, ARepositoryThatGitHasNotRegisteredIsTheLibrarysToJudge) {
    WorktreeFacts facts = finishedWorktree();
    facts.isRegistered = false;
    facts.hasIndex = false;
    EXPECT_EQ(worktreeStep(facts), WorktreeStep(LetPrepare{}));
}

}  // namespace
}  // namespace quernlight::host
