#pragma once

#include <optional>
#include <string>

#include "host/screen/dialog.hpp"
#include "host/screen/screen_picture.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// Something on the agent's screen that it does not get past by itself.
struct StandingQuestion {
    DialogKind kind = DialogKind::unknown;
    std::string sentence{};          ///< what it is, for people
    Instant since{};                 ///< when it was seen first
    std::optional<Instant> until{};  ///< of a limit of use: when it ends, if that is known

    bool operator==(const StandingQuestion&) const = default;
};

/// What stands in the agent's way, if anything. `hasGoal`: whether it works on its goal, since a limit that
/// an earlier run has met is still told on the screen of a conversation that goes on. `answersDialogs`: its
/// questions about goals are answered by whoever types the goal.
std::optional<StandingQuestion> questionOn(const ScreenPicture& picture, Instant now, bool hasGoal,
                                           bool answersDialogs);

/// Whether both are one question that stands: numbers in it, such as a time that is counted, tell nothing.
bool isSameQuestion(const StandingQuestion& left, const StandingQuestion& right);

}  // namespace quernlight::host
