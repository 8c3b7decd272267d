#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "host/agent/goal_records.hpp"
#include "host/screen/dialog.hpp"
#include "host/screen/screen_picture.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// Something on the agent's screen that it does not get past by itself. How long the session waits for an
/// answer is `nextStep`'s.
struct StandingQuestion {
    DialogKind kind = DialogKind::unknown;
    std::string sentence{};  ///< what it is, for people
    bool isPersons =
        false;  ///< a setting leaves it to a person, who is given the time that an agent may be silent
    bool stopsEveryAgent = false;  ///< no answer in the terminal mends it: it would stop the next agent, too
    Instant since{};               ///< when it was seen first
    std::chrono::seconds patience{0};  ///< for which it may pass by itself, before a person is told
    std::optional<Instant> until{};    ///< of a limit of use: when it ends, if that is known

    bool operator==(const StandingQuestion&) const = default;
};

/// What is known of the session beside the screen.
struct QuestionContext {
    bool hasGoal = false;                    ///< it has taken its goal
    std::optional<GoalStatus> goalStatus{};  ///< then, as it has recorded it
    bool tellsNoStatus = false;              ///< all its records were read, and no status is known of
    bool isTrusted = true;                   ///< the agent is told that it may trust the repository
    bool answersDialogs = true;              ///< whoever types the goal answers the questions about goals
};

/// What stands in the agent's way, if anything. What stopped an earlier run is still told on the screen of a
/// conversation that goes on, so it counts only once the agent has its goal.
std::optional<StandingQuestion> questionOn(const ScreenPicture& picture, Instant now,
                                           const QuestionContext& context);

/// Whether both are one question that stands: numbers in it, such as a time that is counted, tell nothing.
bool isSameQuestion(const StandingQuestion& left, const StandingQuestion& right);

}  // namespace quernlight::host
