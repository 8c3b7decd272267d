#include <string>
#include <utility>

#include "quernlight/dispatch/active_queue.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/platform/instant.hpp"

// Where an item stands in its queue, and how it leaves without having been worked on.

namespace quernlight {

Task<void> QueueManager::reorder(Uuid itemID, std::optional<Uuid> before) {
    return operations_.run(reorderInTurn(itemID, before));
}

Task<void> QueueManager::queueNext(Uuid itemID) {
    return operations_.run(queueNextInTurn(itemID));
}

Task<void> QueueManager::cancel(Uuid itemID) {
    return operations_.run(cancelInTurn(itemID));
}

Task<std::optional<BugQueueItem>> QueueManager::remove(Uuid itemID) {
    return operations_.run(removeInTurn(itemID));
}

Task<std::optional<BugQueueItem>> QueueManager::removeImplementedReviewItem(std::string bugID) {
    return operations_.run(removeImplementedInTurn(std::move(bugID)));
}

Task<void> QueueManager::reorderInTurn(Uuid itemID, std::optional<Uuid> before) {
    ActiveQueue queue(co_await queueOf(itemID));
    const auto position = queue.move(itemID, before);
    if (!position) {
        co_return;
    }
    co_await queueRepository_.updateEach(queue.items());
    ItemEvent reordered{.kind = "reordered",
                        .message = "Moved queue item to position " + std::to_string(*position) + "."};
    co_await appendEvent(itemID, std::move(reordered));
}

Task<void> QueueManager::queueNextInTurn(Uuid itemID) {
    ActiveQueue queue(co_await queueOf(itemID));
    if (!queue.moveNext(itemID)) {
        co_return;
    }
    co_await queueRepository_.updateEach(queue.items());
    ItemEvent queuedNext{.kind = "queuedNext", .message = "Moved queue item next."};
    co_await appendEvent(itemID, std::move(queuedNext));
}

Task<void> QueueManager::cancelInTurn(Uuid itemID) {
    auto item = co_await activeItem(itemID);
    if (!item) {
        co_return;
    }
    item->status = QueueItemStatus::cancelled;
    item->activeSessionID.reset();
    item->cancelledAt = currentInstant();
    item->errorMessage.reset();
    co_await storeInQueues(*item, item->queueMode);
    ItemEvent cancelled{.kind = "cancelled", .message = "Cancelled by user."};
    co_await appendEvent(itemID, std::move(cancelled));
}

Task<std::optional<BugQueueItem>> QueueManager::removeInTurn(Uuid itemID) {
    auto item = co_await queueRepository_.item(itemID);
    if (!item || item->status == QueueItemStatus::startingCodex || item->status == QueueItemStatus::running) {
        co_return std::nullopt;
    }
    co_await removeAndCompact(*item);
    co_return item;
}

Task<std::optional<BugQueueItem>> QueueManager::removeImplementedInTurn(std::string bugID) {
    auto item = co_await queueRepository_.item(bugID);
    if (!item || isReorderLocked(item->status)) {
        co_return std::nullopt;
    }
    co_await removeAndCompact(*item);
    co_return item;
}

/// The active items of the queue that the item is in; none when there is no such item.
Task<std::vector<BugQueueItem>> QueueManager::queueOf(Uuid itemID) {
    const auto item = co_await queueRepository_.item(itemID);
    if (!item) {
        co_return std::vector<BugQueueItem>{};
    }
    const QueueListing listing{.queueMode = item->queueMode};
    ReadableItems active = co_await queueRepository_.readableItems(listing);
    co_return std::move(active.items);
}

Task<void> QueueManager::removeAndCompact(const BugQueueItem& item) {
    co_await queueRepository_.remove(item.id);
    co_await queueRepository_.compactActiveQueuePositions(item.queueMode);
}

}  // namespace quernlight
