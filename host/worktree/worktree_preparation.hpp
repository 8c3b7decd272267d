#pragma once

#include "host/worktree/worktree_readiness.hpp"
#include "quernlight/git/git_runner.hpp"
#include "quernlight/git/git_worktree_preparer.hpp"

namespace quernlight::host {

/// Git for a preparation. In no repository more than one at a time.
struct PreparationGit {
    GitRunner run = runGitWith({});                     ///< whose output is shown when it fails
    GitRunner ask = runGitWith({}, GitOutput::answer);  ///< whose output is read
};

/// Prepares the bug's worktree so that it can be worked in. What is at its place is used only if git has
/// finished it. A half-made one (its git was killed) that holds nobody's work is removed and made anew, with
/// its branch if nothing was done there; so is one that git only remembers, because its directory is gone.
/// One that holds anything else is left alone and fails. A preparation whose git is killed is made again, a
/// few times. Paths are resolved here. No other git of this program may change the repository meanwhile.
Task<GitWorktreePrepareResult> prepareUsableWorktree(PrepareBugRequest request, PreparationGit git,
                                                     WorktreeUse use = WorktreeUse::first);

/// Whether an agent may have committed work to the bug's branch, whatever the queue remembers of the bug: its
/// next attempt is not the first one. Asks nothing that runs a program of the repository's.
Task<bool> hasEarlierWork(PrepareBugRequest request, GitRunner ask);

}  // namespace quernlight::host
