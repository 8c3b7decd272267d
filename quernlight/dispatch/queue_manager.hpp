#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quernlight/backend/records.hpp"
#include "quernlight/dispatch/item_transitions.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/operation_queue.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/queue/mapping_repository.hpp"
#include "quernlight/queue/queue_repository.hpp"

namespace quernlight {

/// The single owner of the dispatch queue's rules: one per database, as long-lived as the application. Each
/// operation runs to its end before the next begins, in the order in which they were awaited, on the awaiting
/// coroutine's executor. It starts from the stored item and writes one event for every change.
///
/// An unknown item, or one whose status refuses the operation, is left alone: no change, no event, no error;
/// an operation that returns an item returns nothing for an unknown one. Operations throw DatabaseError; what
/// was written before the failing step stays. The manager must outlive the operations awaited on it.
class QueueManager {
  public:
    /// `backendBaseURL` is where the bugs' own pages are: "/v1/bugs/view/" and the short id beneath it.
    /// Touches no database.
    QueueManager(QueueRepository queueRepository, MappingRepository mappingRepository, Url backendBaseURL);

    /// Both do nothing: points where a host announces its start and its changes. Starting items is the
    /// host's business, and so is the number of sessions at a time.
    Task<void> bootstrap();
    Task<void> scheduleIfNeeded();

    // Operations on the queue (queue_manager.cpp)

    /// Adds the bug at the end of the queue, puts one that has left its queue back, or moves one that waits
    /// in the other queue. Returns the item as stored. Throws BackendError (invalidURL) for a blank bug id.
    Task<BugQueueItem> enqueue(QLBugSummaryDTO summary, QueueMode queueMode);

    /// Puts the item in front of `before`, at the end when that is absent or not active in the same queue,
    /// but never in front of the sessions under way at the head. Refused for an item under way or one that
    /// has left its queue. Writes every item of the queue; one that cannot be written leaves the numbering
    /// half done.
    Task<void> reorder(Uuid itemID, std::optional<Uuid> before);

    /// Puts the item directly behind the sessions under way at the head. Refused and written as `reorder`.
    Task<void> queueNext(Uuid itemID);

    /// Takes the item out of the active queue. Does not stop the agent; the caller does. Refused for an item
    /// that has left its queue.
    Task<void> cancel(Uuid itemID);

    /// Deletes the item with its attempts and events and returns it; nothing when its agent is live (starting
    /// or running). Writes no event.
    Task<std::optional<BugQueueItem>> remove(Uuid itemID);

    /// The same for a bug whose work has been merged; `bugID` in any written form. Nothing also while its
    /// agent is being stopped.
    Task<std::optional<BugQueueItem>> removeImplementedReviewItem(std::string bugID);

    /// Puts the item back to wait for an agent, in `queueMode` or its own queue, whatever its status. It
    /// keeps its agent conversation, and its position when it is active in that queue. Returns the item as
    /// stored.
    Task<std::optional<BugQueueItem>> retry(Uuid itemID, QueueItemGoalFlow goalFlow,
                                            std::optional<QueueMode> queueMode = std::nullopt);

    /// Moves the item to the end of a queue, changes its goal flow, or both; one that has left its queue is
    /// retried there. Returns the item as stored, unchanged when it is under way or there is nothing to
    /// change.
    Task<std::optional<BugQueueItem>> move(Uuid itemID, QueueMode to,
                                           std::optional<QueueItemGoalFlow> goalFlow = std::nullopt);

    /// Queues the items that waited for the application's mapping, in turn with the other operations: an item
    /// that is enqueued while the mapping is being saved is either released here or finds the mapping.
    Task<void> releaseWaitingItems(std::string bundleID);

    // Reports about an item's session (queue_manager_sessions.cpp). An item that has left the active queue
    // takes no more of them, so the first report that ends a session wins. Their order is not enforced.

    /// The session is being started: the item's start time is now, its error is cleared.
    Task<void> markStarting(Uuid itemID, Uuid sessionID);

    /// The agent runs. An item without a start time gets it now.
    Task<void> markRunning(Uuid itemID, Uuid sessionID);

    /// The agent has said that it is done and is being stopped; the item keeps its session and its place at
    /// the head until the next report.
    Task<void> markCodexCompleted(Uuid itemID, Uuid completionCommentID);

    /// These three end the session: the item leaves the active queue, whose gap is closed. The comments' ids
    /// are in the events' metadata; `reason` is for people.
    Task<void> markCompleted(Uuid itemID, Uuid completionCommentID);
    Task<void> markAwaitingUserInput(Uuid itemID, Uuid commentID);
    Task<void> markFailed(Uuid itemID, std::string reason);

    /// The session was interrupted: the item waits in its place for the next one.
    Task<void> markResumable(Uuid itemID);

    /// Binds the bug to the agent's own conversation, whatever the item's status. A bug that is bound to
    /// another one keeps it, and an event tells so, unless `overwriteExisting`.
    Task<void> setCodexSession(Uuid itemID, Uuid codexSessionID, bool overwriteExisting);

  private:
    // The operations' bodies. They call each other, never the operations, which would wait for themselves.
    Task<BugQueueItem> enqueueInTurn(QLBugSummaryDTO summary, QueueMode queueMode);
    Task<BugQueueItem> enqueueKnown(BugQueueItem item, QueueItemGoalFlow goalFlow, QueueMode queueMode);
    Task<BugQueueItem> enqueueNew(QLBugSummaryDTO summary, QueueItemGoalFlow goalFlow, QueueMode queueMode);
    Task<void> reorderInTurn(Uuid itemID, std::optional<Uuid> before);
    Task<void> queueNextInTurn(Uuid itemID);
    Task<void> cancelInTurn(Uuid itemID);
    Task<std::optional<BugQueueItem>> removeInTurn(Uuid itemID);
    Task<std::optional<BugQueueItem>> removeImplementedInTurn(std::string bugID);
    Task<std::optional<BugQueueItem>> retryInTurn(Uuid itemID, QueueItemGoalFlow goalFlow,
                                                  std::optional<QueueMode> queueMode);
    Task<std::optional<BugQueueItem>> moveInTurn(Uuid itemID, QueueMode to,
                                                 std::optional<QueueItemGoalFlow> goalFlow);
    Task<void> releaseInTurn(std::string bundleID);
    Task<void> reportInTurn(Uuid itemID, ItemTransition report);
    Task<void> resumableInTurn(Uuid itemID);
    Task<void> setCodexSessionInTurn(Uuid itemID, Uuid codexSessionID, bool overwriteExisting);

    Task<QueueItemStatus> waitingStatus(QueueMode queueMode, std::string bundleID);
    Task<void> putBackToWait(BugQueueItem& item);
    Task<void> storeInQueues(const BugQueueItem& item, QueueMode previousMode);
    Task<std::optional<BugQueueItem>> activeItem(Uuid itemID);
    Task<std::vector<BugQueueItem>> queueOf(Uuid itemID);
    Task<void> removeAndCompact(const BugQueueItem& item);
    Task<void> storeReport(BugQueueItem item, ItemTransition report);
    Task<void> appendEvent(Uuid itemID, ItemEvent event);

    QueueRepository queueRepository_;
    MappingRepository mappingRepository_;
    Url backendBaseURL_;
    OperationQueue operations_;
};

}  // namespace quernlight
