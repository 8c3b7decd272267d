#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace quernlight {

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

}  // namespace quernlight
