#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/agent/instruction_files.hpp"
#include "host/session/session_state.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

// When a goal is typed, and which one: every attempt types its whole goal once, also an attempt that resumes
// the agent's conversation, since the session's id, which the agent's report must name, is new each time.
// Within an attempt it is never typed again; an agent that has not taken it gets it once more, in a fresh
// one.

/// Whether the goal asks for the pull request of earlier work.
bool goalNeedsPullRequest(const BugQueueItem& item);

/// The goal of the session's attempt. Without the pull request of a follow-up it tells the agent to find that
/// by itself.
std::string attemptGoal(const SessionState& state, const InstructionFiles& instructions,
                        std::optional<Url> prURL);

/// Whether a bug with these events, in the order of their writing, gets a fresh attempt for a goal that its
/// agent has not taken: not when the one before was not taken either, since a goal of the bug's was accepted
/// or a person has retried it.
bool mayTypeGoalAgain(const std::vector<QueueEvent>& events);

}  // namespace quernlight::host
