#pragma once

#include <optional>
#include <utility>

#include "host/events/event_publisher.hpp"
#include "host/session/next_step.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/mapping_repository.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"

namespace quernlight::host {

/// What is known of one session, which all its parts share.
struct SessionState {
    SessionState(BugQueueItem taken, AppMapping its)
        : item(std::move(taken)),
          mapping(std::move(its)),
          progress{.bugID = item.bugID, .appName = item.appName, .title = item.title} {}

    const BugQueueItem item;  ///< as it was when the session began
    const AppMapping mapping;
    const Uuid sessionID = randomUuid();
    SessionAttemptRecord attempt{};
    bool isAttemptRecorded = false;
    WatchedSession watched{};
    BugProgress progress;
    bool isStopWished = false;               ///< by a person, of this session alone
    std::optional<Instant> newestComment{};  ///< that has counted as a sign of life
    bool isConversationKnown = false;        ///< and recorded
    std::optional<Uuid> leftAlone{};  ///< its conversation, which ended the agent whenever it was resumed
};

}  // namespace quernlight::host
