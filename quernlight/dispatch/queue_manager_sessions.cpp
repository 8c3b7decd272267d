#include <utility>

#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/platform/instant.hpp"

// What the host reports about an item's agent session.

namespace quernlight {

Task<void> QueueManager::markStarting(Uuid itemID, Uuid sessionID) {
    return operations_.run(reportInTurn(itemID, ItemTransitions::starting(sessionID)));
}

Task<void> QueueManager::markRunning(Uuid itemID, Uuid sessionID) {
    return operations_.run(reportInTurn(itemID, ItemTransitions::running(sessionID)));
}

Task<void> QueueManager::markCodexCompleted(Uuid itemID, Uuid completionCommentID) {
    return operations_.run(reportInTurn(itemID, ItemTransitions::codexCompleted(completionCommentID)));
}

Task<void> QueueManager::markCompleted(Uuid itemID, Uuid completionCommentID) {
    return operations_.run(reportInTurn(itemID, ItemTransitions::completed(completionCommentID)));
}

Task<void> QueueManager::markAwaitingUserInput(Uuid itemID, Uuid commentID) {
    return operations_.run(reportInTurn(itemID, ItemTransitions::awaitingUserInput(commentID)));
}

Task<void> QueueManager::markFailed(Uuid itemID, std::string reason) {
    return operations_.run(reportInTurn(itemID, ItemTransitions::failed(std::move(reason))));
}

Task<void> QueueManager::markResumable(Uuid itemID) {
    return operations_.run(resumableInTurn(itemID));
}

Task<void> QueueManager::setCodexSession(Uuid itemID, Uuid codexSessionID, bool overwriteExisting) {
    return operations_.run(setCodexSessionInTurn(itemID, codexSessionID, overwriteExisting));
}

Task<void> QueueManager::reportInTurn(Uuid itemID, ItemTransition report) {
    auto item = co_await activeItem(itemID);
    if (item) {
        co_await storeReport(std::move(*item), std::move(report));
    }
}

Task<void> QueueManager::resumableInTurn(Uuid itemID) {
    auto item = co_await activeItem(itemID);
    if (item) {
        const QueueItemStatus status = co_await waitingStatus(item->queueMode, item->bundleID);
        co_await storeReport(std::move(*item), ItemTransitions::resumable(status));
    }
}

Task<void> QueueManager::setCodexSessionInTurn(Uuid itemID, Uuid codexSessionID, bool overwriteExisting) {
    auto item = co_await queueRepository_.item(itemID);
    if (!item) {
        co_return;
    }
    const auto before = item->codexSessionID;
    auto event = ItemTransitions::bindCodexSession(*item, codexSessionID, overwriteExisting);
    if (!event) {
        co_return;
    }
    if (item->codexSessionID != before) {
        co_await queueRepository_.update(*item);
    }
    co_await appendEvent(itemID, std::move(*event));
}

/// The item, unless it has left the active queue.
Task<std::optional<BugQueueItem>> QueueManager::activeItem(Uuid itemID) {
    auto item = co_await queueRepository_.item(itemID);
    if (item && isTerminal(item->status)) {
        item.reset();
    }
    co_return item;
}

Task<void> QueueManager::storeReport(BugQueueItem item, ItemTransition report) {
    ItemEvent event = report(item, currentInstant());
    co_await queueRepository_.update(item);
    // With its session over the item has left the head of its queue, so the gaps are closed.
    if (!isReorderLocked(item.status)) {
        co_await queueRepository_.compactActiveQueuePositions(item.queueMode);
    }
    co_await appendEvent(item.id, std::move(event));
}

}  // namespace quernlight
