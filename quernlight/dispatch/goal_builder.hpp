#pragma once

#include <string>

#include "quernlight/dispatch/goal_context.hpp"

namespace quernlight {

/// The "/goal" prompts: the contract with the agent. They name the tool to call, the branch and worktree to
/// use, and the identifiers by which its completion comment is recognised, so their wording is fixed.
struct GoalBuilder {
    GoalBuilder() = delete;

    /// The goal for a bug that nobody has worked on; ends with one line feed.
    static std::string build(const GoalContext& context);

    /// The goal for a bug whose fix is in review; ends with one line feed.
    static std::string buildReviewFollowup(const GoalContext& context);
};

}  // namespace quernlight
