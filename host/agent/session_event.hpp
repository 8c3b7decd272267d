#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// The agent wrote to its terminal.
struct OutputSeen {
    static constexpr std::size_t mostWords = 2000;

    Instant at{};
    std::string lastLine{};  ///< the last readable line of it, empty when it has none
    std::string words{};     ///< the end of what is readable in it, `mostWords` bytes at most
};

struct AgentExited {
    Instant at{};
    std::int32_t exitCode = 0;
};

/// The goal may be typed from now on.
struct PromptReady {};

/// The goal's first key is about to be typed, and that has been stored.
struct GoalTypingBegins {};

/// All of the goal has been typed, its Enter included.
struct GoalTyped {};

/// The agent has the goal, whole.
struct GoalAccepted {
    std::chrono::milliseconds after{};  ///< since its prompt was ready
};

/// The agent has no goal, or not all of it, for the reason given.
struct GoalRefused {
    std::string reason{};
    bool isAgentUnable = false;  ///< the next goal would meet the same
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
using SessionEvent = std::variant<OutputSeen, AgentExited, PromptReady, GoalTypingBegins, GoalTyped,
                                  GoalAccepted, GoalRefused, CommentsChanged, CommentTrouble, StopRequested>;

}  // namespace quernlight::host
