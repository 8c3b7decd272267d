#include "quernlight/dispatch/queue_manager.hpp"

#include <utility>

#include "quernlight/backend/backend_error.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

/// A bug with a pull request or in review needs its review addressed; any other needs a fix.
QueueItemGoalFlow inferredGoalFlow(const QLBugSummaryDTO& summary) {
    const std::string status = lowercased(summary.status);
    const bool inReview = status == "in_review" || status == "in review" || summary.prURL.has_value();
    return inReview ? QueueItemGoalFlow::addressReview : QueueItemGoalFlow::fixBug;
}

std::string enqueuedMessage(const BugQueueItem& item) {
    if (item.queueMode == QueueMode::manual) {
        return "Added to manual queue.";
    }
    return item.status == QueueItemStatus::waitingForMapping
               ? "Added to queue while waiting for repository mapping."
               : "Added to queue.";
}

/// A bug's id as its row stores it: its short form up to the first NUL, where a text in the database ends,
/// and without a blank that the cut leaves at the end.
std::string storedBugID(std::string_view id) {
    const std::string shortForm = BugID::normalized(id);
    return BugID::normalized(shortForm.substr(0, shortForm.find('\0')));
}

}  // namespace

QueueManager::QueueManager(QueueRepository queueRepository, MappingRepository mappingRepository,
                           Url backendBaseURL)
    : queueRepository_(std::move(queueRepository)),
      mappingRepository_(std::move(mappingRepository)),
      backendBaseURL_(std::move(backendBaseURL)) {}

Task<void> QueueManager::bootstrap() {
    co_return;
}

Task<void> QueueManager::scheduleIfNeeded() {
    co_return;
}

Task<BugQueueItem> QueueManager::enqueue(QLBugSummaryDTO summary, QueueMode queueMode) {
    return operations_.run(enqueueInTurn(std::move(summary), queueMode));
}

Task<std::optional<BugQueueItem>> QueueManager::retry(Uuid itemID, QueueItemGoalFlow goalFlow,
                                                      std::optional<QueueMode> queueMode) {
    return operations_.run(retryInTurn(itemID, goalFlow, queueMode));
}

Task<std::optional<BugQueueItem>> QueueManager::move(Uuid itemID, QueueMode to,
                                                     std::optional<QueueItemGoalFlow> goalFlow) {
    return operations_.run(moveInTurn(itemID, to, goalFlow));
}

Task<void> QueueManager::releaseWaitingItems(std::string bundleID) {
    return operations_.run(releaseInTurn(std::move(bundleID)));
}

Task<BugQueueItem> QueueManager::enqueueInTurn(QLBugSummaryDTO summary, QueueMode queueMode) {
    summary.id = storedBugID(summary.id);
    if (summary.id.empty()) {
        throw BackendError::invalidURL();
    }
    const QueueItemGoalFlow goalFlow = inferredGoalFlow(summary);
    auto known = co_await queueRepository_.item(summary.id);
    if (known) {
        co_return co_await enqueueKnown(std::move(*known), goalFlow, queueMode);
    }
    co_return co_await enqueueNew(std::move(summary), goalFlow, queueMode);
}

Task<BugQueueItem> QueueManager::enqueueKnown(BugQueueItem item, QueueItemGoalFlow goalFlow,
                                              QueueMode queueMode) {
    std::optional<BugQueueItem> changed;
    if (isTerminal(item.status)) {
        changed = co_await retryInTurn(item.id, goalFlow, queueMode);
    } else if (item.queueMode != queueMode) {
        changed = co_await moveInTurn(item.id, queueMode, goalFlow);
    }
    co_return std::move(changed).value_or(std::move(item));
}

Task<BugQueueItem> QueueManager::enqueueNew(QLBugSummaryDTO summary, QueueItemGoalFlow goalFlow,
                                            QueueMode queueMode) {
    BugQueueItem item{.id = randomUuid(),
                      .bugID = summary.id,
                      .appID = summary.appID,
                      .appName = std::move(summary.appName),
                      .bundleID = std::move(summary.bundleID),
                      .title = std::move(summary.title),
                      .bugURL = backendBaseURL_.appendingPath({"v1", "bugs", "view", summary.id}),
                      .queueMode = queueMode,
                      .goalFlow = goalFlow,
                      .createdAt = summary.createdAt,
                      .addedAt = currentInstant()};
    item.queuePosition = co_await queueRepository_.nextPosition(queueMode);
    item.status = co_await waitingStatus(queueMode, item.bundleID);
    co_await queueRepository_.insert(item);
    auto stored = co_await queueRepository_.item(item.bugID);
    if (!stored || stored->id != item.id) {
        // Another connection was faster: what it did to this bug stands.
        co_return std::move(stored).value_or(std::move(item));
    }
    ItemEvent enqueued{.kind = "enqueued", .message = enqueuedMessage(*stored)};
    co_await appendEvent(stored->id, std::move(enqueued));
    co_return std::move(*stored);
}

Task<std::optional<BugQueueItem>> QueueManager::retryInTurn(Uuid itemID, QueueItemGoalFlow goalFlow,
                                                            std::optional<QueueMode> queueMode) {
    auto item = co_await queueRepository_.item(itemID);
    if (!item) {
        co_return std::nullopt;
    }
    const QueueMode previousMode = item->queueMode;
    const QueueMode targetMode = queueMode.value_or(previousMode);
    if (isTerminal(item->status) || targetMode != previousMode) {
        item->queuePosition = co_await queueRepository_.nextPosition(targetMode);
    }
    item->queueMode = targetMode;
    item->goalFlow = goalFlow;
    co_await putBackToWait(*item);
    co_await storeInQueues(*item, previousMode);
    ItemEvent retried{.kind = "retried", .message = "Queued for retry."};
    co_await appendEvent(itemID, std::move(retried));
    co_return co_await queueRepository_.item(itemID);
}

Task<std::optional<BugQueueItem>> QueueManager::moveInTurn(Uuid itemID, QueueMode to,
                                                           std::optional<QueueItemGoalFlow> goalFlow) {
    auto item = co_await queueRepository_.item(itemID);
    if (!item || isReorderLocked(item->status)) {
        co_return item;
    }
    if (isTerminal(item->status)) {
        co_return co_await retryInTurn(itemID, goalFlow.value_or(item->goalFlow), to);
    }
    const QueueMode previousMode = item->queueMode;
    if (to == previousMode && !goalFlow) {
        co_return item;
    }
    if (to != previousMode) {
        item->queuePosition = co_await queueRepository_.nextPosition(to);
        item->queueMode = to;
    }
    item->goalFlow = goalFlow.value_or(item->goalFlow);
    co_await putBackToWait(*item);
    co_await storeInQueues(*item, previousMode);
    ItemEvent moved{.kind = "queueModeChanged",
                    .message = "Moved to " + std::string(rawValue(to)) + " queue."};
    co_await appendEvent(itemID, std::move(moved));
    co_return co_await queueRepository_.item(itemID);
}

Task<void> QueueManager::releaseInTurn(std::string bundleID) {
    co_await queueRepository_.markWaitingItemsQueued(bundleID);
}

/// Items of the manual queue never wait for a mapping: a person starts them.
Task<QueueItemStatus> QueueManager::waitingStatus(QueueMode queueMode, std::string bundleID) {
    if (queueMode == QueueMode::manual) {
        co_return QueueItemStatus::queued;
    }
    const auto mapping = co_await mappingRepository_.mapping(bundleID);
    co_return mapping ? QueueItemStatus::queued : QueueItemStatus::waitingForMapping;
}

/// Clears what an earlier run left, except for the agent's conversation, which the next run resumes.
Task<void> QueueManager::putBackToWait(BugQueueItem& item) {
    item.status = co_await waitingStatus(item.queueMode, item.bundleID);
    item.activeSessionID.reset();
    item.errorMessage.reset();
    item.startedAt.reset();
    item.completedAt.reset();
    item.cancelledAt.reset();
}

/// Writes the item and closes the gaps in the queue that it left and in the one that it is in.
Task<void> QueueManager::storeInQueues(const BugQueueItem& item, QueueMode previousMode) {
    co_await queueRepository_.update(item);
    co_await queueRepository_.compactActiveQueuePositions(previousMode);
    if (item.queueMode != previousMode) {
        co_await queueRepository_.compactActiveQueuePositions(item.queueMode);
    }
}

Task<void> QueueManager::appendEvent(Uuid itemID, ItemEvent event) {
    co_await queueRepository_.appendEvent(itemID, event.kind, event.message, event.sessionID,
                                          event.metadataJSON, currentInstant());
}

}  // namespace quernlight
