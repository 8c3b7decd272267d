#pragma once

#include <optional>
#include <string_view>

#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// Where a bug is on its way, as people see it: the statuses, and within "running" what its session does.
enum class SessionStage {
    queued,
    needsMapping,
    needsStart,         ///< in the manual queue
    toReconcile,        ///< nobody saw its last session to its end
    preparingWorktree,  ///< from here on it runs
    startingAgent,
    resumingAgent,
    waitingForPrompt,
    working,
    needsPerson,    ///< its agent asks something
    askingBackend,  ///< whether the agent has reported, before its silence fails it
    agentExited,    ///< its comment may still come
    stoppingAgent,
    queuedToResume,  ///< from here on its session has ended
    superseded,      ///< somebody took the item away
    inReview,
    needsReply,
    failed,
    cancelled,
};

/// The words for it.
std::string_view stageText(SessionStage stage);

/// Its name for programs: "in_review".
std::string_view stageName(SessionStage stage);

/// Nothing for a name that this version does not know.
std::optional<SessionStage> parseStageName(std::string_view name);

/// The stage of an item that no session works on.
SessionStage stageOf(const BugQueueItem& item);

/// Whether a session works on it.
bool isRunning(SessionStage stage);

/// Whether its session, or the bug, has come to an end.
bool hasEnded(SessionStage stage);

/// Whether nothing goes on with it until a person has done something. The one place that decides it.
bool needsAttention(SessionStage stage);
bool needsAttention(const BugQueueItem& item);

/// The item's status in the words that people are shown everywhere: queued, running, in review, needs reply,
/// needs mapping, needs start, failed or cancelled.
std::string_view statusText(const BugQueueItem& item);
std::string_view statusText(SessionStage stage);

}  // namespace quernlight::host
