#pragma once

#include <string>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// What the agent's own records say of a goal that was typed.
enum class GoalRecord {
    unknown,  ///< they hold no goals, or cannot be read
    absent,
    part,   ///< a piece of the text is somebody's goal
    whole,  ///< the text, to the character
};

/// Looks for a goal with this text in the newest database of goals in the agent's home, or where older agents
/// keep them, in that of its state. Blocks.
GoalRecord findGoalRecord(const EnvironmentMap& environment, const std::string& objective);

}  // namespace quernlight::host
