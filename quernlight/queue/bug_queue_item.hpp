#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/platform/uuid.hpp"
#include "quernlight/queue/queue_item_goal_flow.hpp"
#include "quernlight/queue/queue_item_status.hpp"
#include "quernlight/queue/queue_mode.hpp"

namespace quernlight {

/// A queued bug. A bug is in the queue at most once.
struct BugQueueItem {
    Uuid id{};
    std::string bugID{};  ///< short form (BugID)
    Uuid appID{};
    std::string appName{};
    std::string bundleID{};
    std::string title{};
    Url bugURL{};
    std::int64_t queuePosition = 0;  ///< from 0, within the item's own mode; dense among active items only
    QueueMode queueMode = QueueMode::automatic;
    QueueItemStatus status = QueueItemStatus::queued;
    QueueItemGoalFlow goalFlow = QueueItemGoalFlow::fixBug;
    std::int64_t priority = 0;
    std::optional<Uuid> activeSessionID{};      ///< the runner session that works on the item now
    std::optional<Uuid> codexSessionID{};       ///< the agent's own conversation, to be resumed later
    std::optional<std::string> errorMessage{};  ///< the last failure, or why the item waits
    Instant createdAt{};                        ///< on the backend
    Instant addedAt{};                          ///< to this queue
    std::optional<Instant> startedAt{};
    std::optional<Instant> completedAt{};
    std::optional<Instant> cancelledAt{};

    bool operator==(const BugQueueItem&) const = default;
};

}  // namespace quernlight
