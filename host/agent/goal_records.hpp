#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// How much of a goal's text is in the agent's own records.
enum class GoalMatch : std::uint8_t {
    unknown,  ///< there are no records of goals
    absent,
    part,   ///< a piece of the text is somebody's goal
    whole,  ///< the text, to the character
};

/// What has become of a goal that the agent has, by its own records.
enum class GoalStatus : std::uint8_t {
    active,
    paused,
    blocked,        ///< the model does not answer (no network, not logged in), or says that it cannot go on
    usageLimited,   ///< by the provider
    budgetLimited,  ///< by the goal's own budget
    complete,
};

/// As agents record it: "usage_limited".
std::string_view nameOf(GoalStatus status);

/// Nothing for a text that no agent known here writes.
std::optional<GoalStatus> parseGoalStatus(std::string_view recorded);

/// What the agent's own records say of a goal that was typed.
struct GoalRecord {
    GoalMatch match = GoalMatch::unknown;  ///< the best of all databases that could be read
    bool allRead = true;  ///< false: some are busy or unreadable, so that there may be more to know
    std::optional<GoalStatus> status{};  ///< of a goal that is there whole

    bool operator==(const GoalRecord&) const = default;
};

/// Looks for a goal with this text in all databases in the agent's home that have goals: each release has
/// its own, older ones that of their state. Blocks.
GoalRecord findGoalRecord(const EnvironmentMap& environment, const std::string& objective);

}  // namespace quernlight::host
