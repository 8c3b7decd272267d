#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// The conversation that the agent's own records have for a run in `directory` since `startedAt`, asked for
/// under the path given and under its physical one. Nothing while there is none, and when the records cannot
/// be read: they appear some time after the start, and what they say wrong must never end a session. Blocks.
std::optional<CodexSessionRecord> findConversation(const EnvironmentMap& environment,
                                                   const std::string& directory, Instant startedAt);

/// Which of its conversations the agent is told to go on with: the bug's first one (`canonical`), else the
/// one that the item is bound to; none that the agent has said not to know, and none for an item that knows
/// none. Which of them the events tell.
std::optional<Uuid> conversationToResume(const BugQueueItem& item, const std::optional<Uuid>& canonical,
                                         const std::vector<QueueEvent>& events);

/// Whether the agent has ended twice in a row as soon as it was told to go on with the conversation. Then a
/// fresh one is tried once: it shows whether that, or something else, ends the agent.
bool wasResumedInVain(const Uuid& conversation, const std::vector<QueueEvent>& events);

/// The metadata of the events that tell both: `conversationUnknown` and `agentBlocked`.
std::string conversationMetadata(const Uuid& conversation);

}  // namespace quernlight::host
