#pragma once

#include <string>

#include "quernlight/dispatch/goal_context.hpp"

namespace quernlight {

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

}  // namespace quernlight
