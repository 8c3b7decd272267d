#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quernlight::standin::codex {

enum class GoalFlow { fixBug, reviewFollowup };

/// What a "/goal" command asks of the agent, read from its sentences as an agent would read them. Members
/// that the flow's text does not name are empty.
struct Goal {
    GoalFlow flow = GoalFlow::fixBug;
    std::string bugID;  ///< short form
    std::string shareURL;
    std::string worktreeRoot;
    std::string worktreePath;
    std::string branch;
    std::string baseBranch;  ///< fix flow only
    std::string completionInstructionsPath;
    std::string queueItemID;
    std::string sessionID;
    std::string prURL;  ///< follow-up only, and only when the goal knows it

    bool operator==(const Goal&) const = default;
};

/// Whether the text is a "/goal" command of any kind.
bool isGoalCommand(std::string_view text);

/// Reads a goal whose lines end in line feeds. Nothing when the text is neither of the two known orders, or
/// one of its sentences is missing.
std::optional<Goal> parseGoal(std::string_view text);

}  // namespace quernlight::standin::codex
