#pragma once

#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// What to look for among a bug's comments as the report of a session. A session's id is new for every
/// attempt, so no older comment can carry it; the start is put far back, because comments are dated by the
/// backend's clock, which need not agree with this machine's.
inline CompletionPollState soughtReport(const BugQueueItem& item, const Uuid& sessionID, Instant startedAt) {
    constexpr std::chrono::hours clocksMayDifferBy{1};
    return {.sessionID = sessionID,
            .queueItemID = item.id,
            .bugID = item.bugID,
            .startedAt = startedAt - clocksMayDifferBy};
}

}  // namespace quernlight::host
