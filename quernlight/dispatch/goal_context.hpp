#pragma once

#include <optional>
#include <string>

#include "quernlight/platform/url.hpp"
#include "quernlight/platform/uuid.hpp"

namespace quernlight {

/// What a goal tells the agent about one run on one bug. A value; texts go into the goal as they
/// stand, but for what GoalBuilder says.
struct GoalContext {
    Uuid queueItemID{};
    Uuid sessionID{};                ///< of this run, given by the dispatcher
    std::string appName{};           ///< for people
    std::string bundleID{};          ///< not written into a goal
    std::string bugID{};             ///< in any written form
    Url bugShareURL{};               ///< the bug's page on the backend; goals show it in lower case
    std::string repoPath{};          ///< the mapped repository; not written into a goal
    std::string worktreeRootPath{};  ///< the directory above the worktrees
    std::string baseBranch{};        ///< where work starts and what the pull request is opened against
    std::string investigationInstructionsPath{};  ///< a file
    std::string reproduceInstructionPath{};       ///< a file
    std::string completionInstructionsPath{};     ///< a file: how to write the completion comment
    std::optional<Url> prURL{};                   ///< the bug's pull request, when it is known

    /// `bugID` trimmed, in lower case and cut to 8 characters.
    std::string shortBugID() const;
    /// The branch's and the worktree's name as WorktreeNaming gives them; the path is absolute. It throws
    /// std::filesystem::filesystem_error for a relative root when the working directory is gone.
    std::string worktreeBranchName() const;
    std::string worktreePath() const;

    bool operator==(const GoalContext&) const = default;
};

}  // namespace quernlight
