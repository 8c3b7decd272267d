#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// The agent wrote to its terminal.
struct OutputSeen {
    Instant at{};
    std::string lastLine{};  ///< the last readable line of that chunk, empty when it has none
    std::string words{};     ///< the end of what is readable in it, half a kilobyte at most
};

struct AgentExited {
    Instant at{};
    std::int32_t exitCode = 0;
};

/// The goal's first key is about to be typed, and that has been stored.
struct GoalTypingBegins {};

/// All of the goal has been typed.
struct GoalTyped {};

/// The goal was not typed to its end, for the reason given.
struct GoalNotTyped {
    std::string reason{};
};

/// A poll of the bug's comments found something that was not there at the poll before.
struct CommentsChanged {
    Instant at{};
    std::optional<Instant> newest{};  ///< when the newest of them was written
    std::optional<CompletionDetection> detection{};
};

/// The backend answers, but not with the bug's comments; empty when it does again.
struct CommentTrouble {
    std::string reason{};
};

/// The dispatcher is stopping; wakes the session, which has been told already.
struct StopRequested {};

/// Everything a session waits for.
using SessionEvent = std::variant<OutputSeen, AgentExited, GoalTypingBegins, GoalTyped, GoalNotTyped,
                                  CommentsChanged, CommentTrouble, StopRequested>;

}  // namespace quernlight::host
