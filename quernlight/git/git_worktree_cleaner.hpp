#pragma once

#include <functional>
#include <string>

#include "quernlight/git/git_runner.hpp"
#include "quernlight/git/worktree_results.hpp"
#include "quernlight/platform/file_manager.hpp"

namespace quernlight {

/// Which bug's worktree, and where.
struct CleanupBugRequest {
    std::string repoPath;          ///< any path in the app's repository, given to git as it is
    std::string worktreeRootPath;  ///< where the app's worktrees are; a "~" in front is the user's home
    std::string appName;           ///< in any spelling; the branch is named after it
    std::string bugID;             ///< long or short
};

/// Removes a bug's worktree once its fix has been merged; the branch stays. A value; it borrows the file
/// manager, which must outlive it and its calls. Calls run on the awaiting coroutine's executor; two at once
/// for the same bug are for the caller to avoid.
class GitWorktreeCleaner {
  public:
    explicit GitWorktreeCleaner(GitRunner run = runGit,
                                const FileManager& fileManager = defaultFileManager());

    /// Throws nothing but cancellation and what another `run` throws: what goes wrong is a `WorktreeFailed`.
    /// Removes a registered worktree with all changes in it, and a directory that holds a ".git" entry, on a
    /// thread of its own; anything else at the path is skipped.
    Task<GitWorktreeCleanupResult> cleanupImplementedBug(CleanupBugRequest request) const;

  private:
    GitRunner runGit_;
    std::reference_wrapper<const FileManager> fileManager_;
};

}  // namespace quernlight
