#pragma once

#include <functional>
#include <string>

#include "quernlight/git/git_runner.hpp"
#include "quernlight/git/worktree_results.hpp"
#include "quernlight/platform/file_manager.hpp"

namespace quernlight {

struct CleanupBugRequest {
    std::string repoPath;
    std::string worktreeRootPath;
    std::string appName;
    std::string bugID;
};

/// Removes a bug's worktree once its fix has been merged; the branch stays. A value; it borrows the file
/// manager, which must outlive it and its calls. Calls run on the awaiting coroutine's executor; two at once
/// for the same bug are for the caller to avoid.
class GitWorktreeCleaner {
  public:
    explicit GitWorktreeCleaner(GitRunner run = runGit,
                                const FileManager& fileManager = defaultFileManager());

    /// Never throws: what goes wrong is a `WorktreeFailed`. Removes a registered worktree with all changes in
    /// it, and a directory that holds a ".git" entry; anything else at the path is skipped.
    Task<GitWorktreeCleanupResult> cleanupImplementedBug(CleanupBugRequest request) const;

  private:
    GitRunner runGit_;
    std::reference_wrapper<const FileManager> fileManager_;
};

}  // namespace quernlight
