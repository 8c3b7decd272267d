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
struct PrepareBugRequest {
    std::string repoPath;          ///< any path in the app's repository, given to git as it is
    std::string worktreeRootPath;  ///< where the app's worktrees are; a "~" in front is the user's home
    std::string appName;           ///< in any spelling; the branch is named after it
    std::string bugID;             ///< long or short
    std::string baseBranch;        ///< a branch's name, without "refs/heads/"
};

/// The same as a list in braces gives it: GCC 12 miscompiles a `PrepareBugRequest` that is made inside a
/// co_await expression, but not this. It borrows its texts until the call has returned its task.
struct PrepareBugFields {
    std::string_view repoPath;
    std::string_view worktreeRootPath;
    std::string_view appName;
    std::string_view bugID;
    std::string_view baseBranch;

    PrepareBugRequest request() const;
};

/// Gives a bug its worktree, on a branch of its own that starts at the latest base branch, before a session
/// starts. A value; it borrows the file manager, which must outlive it and its calls. Calls run on the
/// awaiting coroutine's executor; two at once for the same bug are for the caller to avoid.
class GitWorktreePreparer {
  public:
    explicit GitWorktreePreparer(GitRunner run = runGit,
                                 const FileManager& fileManager = defaultFileManager());

    /// Throws nothing but cancellation and what another `run` throws: what goes wrong is a `WorktreeFailed`.
    /// What is at the path already is never changed.
    Task<GitWorktreePrepareResult> prepareBug(PrepareBugFields fields) const;
    template <std::same_as<PrepareBugRequest> Request>
    Task<GitWorktreePrepareResult> prepareBug(Request request) const {
        return start(std::move(request));
    }

  private:
    Task<GitWorktreePrepareResult> start(PrepareBugRequest request) const;

    GitRunner runGit_;
    std::reference_wrapper<const FileManager> fileManager_;
};

}  // namespace quernlight
