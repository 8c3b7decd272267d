#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "quernlight/backend/records.hpp"
#include "quernlight/dispatch/item_transitions.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::test {

/// What the queues and the histories must hold after a series of operations, by the plainest means: a list of
/// bugs for each queue, whose order is the positions, and one of those that have left. A time that an
/// operation takes from the clock is `justNow` until `adoptTimes` has put in the real one.
class QueueModel {
  public:
    using Item = std::optional<BugQueueItem>;

    static constexpr Instant justNow = Instant::max();

    void setMapped(const std::string& bundleID, bool mapped);
    void release(const std::string& bundleID);

    /// `freshID` is the id of the item when the bug is new.
    Item enqueue(const QLBugSummaryDTO& bug, QueueMode mode, const Uuid& freshID);
    void reorder(const Uuid& id, const std::optional<Uuid>& before);
    void queueNext(const Uuid& id);
    void cancel(const Uuid& id);
    Item remove(const Uuid& id);
    Item removeImplementedReviewItem(const std::string& bugID);
    Item retry(const Uuid& id, QueueItemGoalFlow flow, std::optional<QueueMode> mode);
    Item move(const Uuid& id, QueueMode mode, std::optional<QueueItemGoalFlow> flow);

    void markStarting(const Uuid& id, const Uuid& session);
    void markRunning(const Uuid& id, const Uuid& session);
    void markCodexCompleted(const Uuid& id, const Uuid& comment);
    void markCompleted(const Uuid& id, const Uuid& comment);
    void markAwaitingUserInput(const Uuid& id, const Uuid& comment);
    void markFailed(const Uuid& id, const std::string& reason);
    void markResumable(const Uuid& id);
    void setCodexSession(const Uuid& id, const Uuid& conversation, bool overwrite);

    /// What a host may store that the manager never does.
    void waitForCapacity(const Uuid& id);

    Item item(const Uuid& id) const;
    Item itemOfBug(const std::string& bugID) const;

    /// All items, in no particular order.
    std::vector<BugQueueItem> items() const;

    /// The item's events, oldest first.
    std::vector<ItemEvent> events(const Uuid& id) const;
    std::size_t eventCount() const;

    /// Replaces each `justNow` of the item by the time that `stored` has in its place.
    void adoptTimes(const BugQueueItem& stored);

  private:
    using List = std::vector<BugQueueItem>;

    BugQueueItem* find(const Uuid& id);
    BugQueueItem* findActive(const Uuid& id);
    BugQueueItem* findMovable(const Uuid& id);
    List::iterator positionOf(List& list, const Uuid& id);
    BugQueueItem take(const Uuid& id);
    BugQueueItem& append(BugQueueItem item, QueueMode mode);
    void insertBehindLockedHead(BugQueueItem item, std::size_t target);
    void renumber();
    void clearRun(BugQueueItem& item) const;
    QueueItemStatus waitingStatus(const BugQueueItem& item) const;
    void leave(const Uuid& id, QueueItemStatus status, ItemEvent event,
               std::optional<std::string> error = {});
    void log(const Uuid& id, ItemEvent event);

    std::map<QueueMode, List> queues_{{QueueMode::automatic, {}}, {QueueMode::manual, {}}};
    List left_;
    std::set<std::string> mapped_;
    std::map<Uuid, std::vector<ItemEvent>> events_;
};

}  // namespace quernlight::test
