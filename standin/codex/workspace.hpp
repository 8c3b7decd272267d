#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "standin/codex/git.hpp"
#include "standin/codex/goal.hpp"

namespace quernlight::standin::codex {

/// The bug's worktree and its branch, as the goal names them. Blocks; failures are std::runtime_error with a
/// sentence.
class Workspace {
  public:
    explicit Workspace(const Goal& goal);

    /// Makes the worktree when it is missing, from the repository of the current directory, goes to the
    /// goal's branch and takes in what the remote already has of it and of the pull request.
    void prepare(std::optional<int> pullRequest);

    /// Changes one file and commits it; returns the commit's short name.
    std::string commitChange(const std::string& change, const std::string& subject);

    /// Pushes the branch and the head of the pull request, opening one when there is none yet; returns its
    /// URL.
    std::string publish(std::optional<int> pullRequest);

  private:
    void create() const;
    void checkOutBranch() const;
    void takeIn(const std::string& remoteRef) const;
    int openPullRequest() const;

    Goal goal_;
    Git git_;
};

}  // namespace quernlight::standin::codex
