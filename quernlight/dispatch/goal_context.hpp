#pragma once

#include <optional>
#include <string>

#include "quernlight/platform/url.hpp"
#include "quernlight/platform/uuid.hpp"

namespace quernlight {

/// What a goal tells the agent about one run on one bug.
struct GoalContext {
    Uuid queueItemID{};
    Uuid sessionID{};
    std::string appName;
    std::string bundleID;
    std::string bugID;
    Url bugShareURL;
    std::string repoPath;
    std::string worktreeRootPath;
    std::string baseBranch;  ///< where work starts and what the pull request is opened against
    std::string investigationInstructionsPath;
    std::string reproduceInstructionPath;
    std::string completionInstructionsPath;
    std::optional<Url> prURL;

    std::string shortBugID() const;
    std::string worktreeBranchName() const;
    std::string worktreePath() const;

    bool operator==(const GoalContext&) const = default;
};

}  // namespace quernlight
