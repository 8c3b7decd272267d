#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quernlight/git/git_runner.hpp"

namespace quernlight {

/// Git in one repository: every command gets "-C" and the repository's path in front, so that the working
/// directory of the caller plays no part. It must outlive the tasks it returns, which run on the awaiting
/// coroutine's executor and throw only what the runner throws.
class RepositoryGit {
  public:
    /// Why git must not run at such a path; nothing when it may. An empty one would be the working directory
    /// of the caller.
    static std::optional<std::string> refusal(const std::string& repoPath);

    RepositoryGit(GitRunner run, std::string repoPath);

    /// `arguments`: the command and all that follows it.
    Task<GitCommandResult> run(std::vector<std::string> arguments) const;

    /// Whether git has a worktree registered at this standardised path; no when git cannot tell.
    Task<bool> hasWorktree(std::string path) const;

    /// "origin" when there is such a remote, otherwise the first one; empty when there is none or git cannot
    /// tell.
    Task<std::string> preferredRemote() const;

  private:
    GitRunner run_;
    std::string repoPath_;
};

}  // namespace quernlight
