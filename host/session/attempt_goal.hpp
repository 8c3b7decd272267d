#pragma once

#include <optional>
#include <string>

#include "host/agent/instruction_files.hpp"
#include "host/session/session_state.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::host {

// When a goal is typed, and which one: every attempt types its whole goal once, also an attempt that resumes
// the agent's conversation, since the session's id, which the agent's report must name, is new each time.
// Within an attempt it is never typed again.

/// Whether the goal asks for the pull request of earlier work.
bool goalNeedsPullRequest(const BugQueueItem& item);

/// The goal of the session's attempt. Without the pull request of a follow-up it tells the agent to find that
/// by itself.
std::string attemptGoal(const SessionState& state, const InstructionFiles& instructions,
                        std::optional<Url> prURL);

}  // namespace quernlight::host
