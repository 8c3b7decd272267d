#pragma once

#include <string>

#include "quernlight/git/git_runner.hpp"
#include "quernlight/git/git_worktree_preparer.hpp"

namespace quernlight::host {

/// Prepares the bug's worktree so that it can be worked in. What git has registered at the path may be a
/// memory only: when its directory is gone, git is told to forget it and the worktree is made anew. `run` is
/// used for all that may wait for a far side.
Task<GitWorktreePrepareResult> prepareUsableWorktree(PrepareBugRequest request, GitRunner run);

}  // namespace quernlight::host
