#include "quernlight/queue/bug_queue_item.hpp"

#include "quernlight/queue/raw_values.hpp"

namespace quernlight {
namespace {

/// In declared order.
constexpr std::array<std::string_view, allQueueItemStatuses.size()> rawValues{
    "queued",  "waitingForMapping", "waitingForCapacity", "startingCodex",
    "running", "awaitingUserInput", "codexCompleted",     "completed",
    "failed",  "cancelled",
};

}  // namespace

std::string_view rawValue(QueueMode mode) {
    return mode == QueueMode::manual ? "manual" : "auto";
}

std::optional<QueueMode> queueModeFromRawValue(std::string_view text) {
    return caseOfRawValue(allQueueModes, text);
}

std::string_view id(QueueMode mode) {
    return rawValue(mode);
}

std::string_view title(QueueMode mode) {
    return mode == QueueMode::manual ? "Manual" : "Auto";
}

std::string_view rawValue(QueueItemStatus status) {
    return rawValues.at(static_cast<std::size_t>(status));
}

std::optional<QueueItemStatus> queueItemStatusFromRawValue(std::string_view text) {
    return caseOfRawValue(allQueueItemStatuses, text);
}

bool isTerminal(QueueItemStatus status) {
    return status == QueueItemStatus::awaitingUserInput || status == QueueItemStatus::completed ||
           status == QueueItemStatus::failed || status == QueueItemStatus::cancelled;
}

bool isReorderLocked(QueueItemStatus status) {
    return status == QueueItemStatus::startingCodex || status == QueueItemStatus::running ||
           status == QueueItemStatus::codexCompleted;
}

std::string_view rawValue(QueueItemGoalFlow goalFlow) {
    return goalFlow == QueueItemGoalFlow::addressReview ? "address_review" : "fix_bug";
}

std::optional<QueueItemGoalFlow> queueItemGoalFlowFromRawValue(std::string_view text) {
    return caseOfRawValue(allQueueItemGoalFlows, text);
}

}  // namespace quernlight
