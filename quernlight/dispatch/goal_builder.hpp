#pragma once

#include <optional>
#include <string>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/url.hpp"

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

/// The "/goal" prompts: the contract with the agent. They name the tool to call, the branch and worktree to
/// use, and the identifiers by which its completion comment is recognised, so their wording is fixed. UTF-8
/// with line feeds, identifiers and the bug's page in lower case. They are typed into a terminal, so in what
/// comes from the backend (app's name, bug's id, URLs) each control character and line separator is one
/// blank. Functions of the context alone, for any thread, as long as its worktree root is an absolute path:
/// the worktree's path also depends on HOME when the root begins with "~", and on the working directory when
/// it is relative (std::filesystem::filesystem_error when that is gone).
struct GoalBuilder {
    GoalBuilder() = delete;

    /// The goal for a bug that nobody has worked on; ends with one line feed.
    static std::string build(const GoalContext& context);

    /// The goal for a bug whose fix is in review; ends with one line feed. Without a known pull request it
    /// says where to look for one.
    static std::string buildReviewFollowup(const GoalContext& context);
};

/// What the verification prompt tells. It is typed into a terminal: in all but the branch, which come from
/// the backend, each control character and line separator is one blank.
struct VerificationGoalFields {
    std::string appName{};
    std::string baseBranch{};
    std::string bugTitle{};
    Url bugURL{};
};

/// A prompt that makes the agent change nothing and only show that it was started in the right repository.
/// A pure function, for any thread.
struct M3GoalTextBuilder {
    M3GoalTextBuilder() = delete;

    /// One line of instructions and one for each field; ends with two line feeds.
    static std::string verificationGoal(const VerificationGoalFields& fields);
};

}  // namespace quernlight
