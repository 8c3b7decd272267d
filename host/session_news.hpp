#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/platform/event_stream.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// The agent wrote to its terminal; `lastLine` is the last readable line of that chunk, empty when it has
/// none.
struct OutputSeen {
    Instant at{};
    std::string lastLine{};
};

struct AgentExited {
    Instant at{};
    std::int32_t exitCode = 0;
};

/// A poll of the bug's comments found something that was not there at the poll before.
struct CommentsChanged {
    Instant at{};
    std::optional<CompletionDetection> detection{};
};

/// A poll that could not be made, in one sentence, or the first one that could again (empty).
struct BackendHealthChanged {
    std::string trouble{};
};

/// The dispatcher is stopping; wakes the session, which has been told already.
struct StopRequested {};

/// Everything a session waits for, in one mailbox, so that its coroutine has one place to wait.
using SessionNews =
    std::variant<OutputSeen, AgentExited, CommentsChanged, BackendHealthChanged, StopRequested>;
using SessionMailbox = EventStream<SessionNews>;

}  // namespace quernlight::host
