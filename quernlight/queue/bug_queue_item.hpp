#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight {

/// Which of the two queues an item sits in; each has positions of its own.
enum class QueueMode {
    automatic,  ///< stored as "auto"
    manual,
};

inline constexpr std::array allQueueModes{QueueMode::automatic, QueueMode::manual};

/// The text that is stored.
std::string_view rawValue(QueueMode mode);

/// Nothing for a text that is not exactly a raw value.
std::optional<QueueMode> queueModeFromRawValue(std::string_view text);

/// Identifies the mode in a list; its raw value.
std::string_view id(QueueMode mode);

/// The label shown to people.
std::string_view title(QueueMode mode);

/// Where a queue item stands on its road.
enum class QueueItemStatus {
    queued,
    waitingForMapping,
    waitingForCapacity,
    startingCodex,
    running,
    awaitingUserInput,
    codexCompleted,
    completed,
    failed,
    cancelled,
};

inline constexpr std::array allQueueItemStatuses{
    QueueItemStatus::queued,         QueueItemStatus::waitingForMapping, QueueItemStatus::waitingForCapacity,
    QueueItemStatus::startingCodex,  QueueItemStatus::running,           QueueItemStatus::awaitingUserInput,
    QueueItemStatus::codexCompleted, QueueItemStatus::completed,         QueueItemStatus::failed,
    QueueItemStatus::cancelled,
};

/// The text that is stored: the case's own name.
std::string_view rawValue(QueueItemStatus status);

/// Nothing for a text that is not exactly a raw value.
std::optional<QueueItemStatus> queueItemStatusFromRawValue(std::string_view text);

/// Whether the item has left the active queue: it holds no position and does not count for the next one. An
/// item that waits for a person has left it too.
bool isTerminal(QueueItemStatus status);

/// Whether the item may not be moved, because its agent session is being started or is live.
bool isReorderLocked(QueueItemStatus status);

/// What the agent is asked to do with a bug.
enum class QueueItemGoalFlow {
    fixBug,         ///< fix the reported bug
    addressReview,  ///< work through the review of an existing pull request
};

inline constexpr std::array allQueueItemGoalFlows{QueueItemGoalFlow::fixBug,
                                                  QueueItemGoalFlow::addressReview};

/// The text that is stored: "fix_bug" or "address_review".
std::string_view rawValue(QueueItemGoalFlow goalFlow);

/// Nothing for a text that is not exactly a raw value.
std::optional<QueueItemGoalFlow> queueItemGoalFlowFromRawValue(std::string_view text);

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

/// One line of a queue item's history.
struct QueueEvent {
    Uuid id{};
    Uuid queueItemID{};
    std::optional<Uuid> sessionID{};  ///< the runner session that the event belongs to
    std::string kind{};
    std::string message{};                      ///< for people
    std::optional<std::string> metadataJSON{};  ///< a JSON document with details, stored verbatim
    Instant createdAt{};

    bool operator==(const QueueEvent&) const = default;
};

}  // namespace quernlight
