#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

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

/// The same as a list in braces gives it: GCC 12 miscompiles a `CleanupBugRequest` that is made inside a
/// co_await expression, but not this. It borrows its texts until the call has returned its task.
struct CleanupBugFields {
    std::string_view repoPath;
    std::string_view worktreeRootPath;
    std::string_view appName;
    std::string_view bugID;

    CleanupBugRequest request() const;
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
    Task<GitWorktreeCleanupResult> cleanupImplementedBug(CleanupBugFields fields) const;
    template <std::same_as<CleanupBugRequest> Request>
    Task<GitWorktreeCleanupResult> cleanupImplementedBug(Request request) const {
        return start(std::move(request));
    }

  private:
    Task<GitWorktreeCleanupResult> start(CleanupBugRequest request) const;

    GitRunner runGit_;
    std::reference_wrapper<const FileManager> fileManager_;
};

}  // namespace quernlight
