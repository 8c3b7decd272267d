#include "tests/dispatch/queue_model.hpp"

#include <algorithm>
#include <iterator>

namespace quernlight::test {
namespace {

using enum QueueItemStatus;

const std::set<QueueItemStatus> terminal{awaitingUserInput, completed, failed, cancelled};
const std::set<QueueItemStatus> locked{startingCodex, running, codexCompleted};

QueueItemGoalFlow flowOf(const QLBugSummaryDTO& bug) {
    return bug.status == "in_review" || bug.prURL ? QueueItemGoalFlow::addressReview
                                                  : QueueItemGoalFlow::fixBug;
}

void adopt(std::optional<Instant>& time, const std::optional<Instant>& stored) {
    if (time == QueueModel::justNow) {
        time = stored;
    }
}

}  // namespace

void QueueModel::setMapped(const std::string& bundleID, bool mapped) {
    mapped_.erase(bundleID);
    if (mapped) {
        mapped_.insert(bundleID);
    }
}

void QueueModel::release(const std::string& bundleID) {
    for (auto& [mode, queue] : queues_) {
        for (BugQueueItem& item : queue) {
            if (item.bundleID == bundleID && item.status == waitingForMapping) {
                item.status = queued;
                item.errorMessage.reset();
            }
        }
    }
}

QueueModel::Item QueueModel::enqueue(const QLBugSummaryDTO& bug, QueueMode mode, const Uuid& freshID) {
    if (const Item known = itemOfBug(bug.id)) {
        if (terminal.contains(known->status)) {
            return retry(known->id, flowOf(bug), mode);
        }
        return known->queueMode == mode ? known : move(known->id, mode, flowOf(bug));
    }
    BugQueueItem item;
    item.id = freshID;
    item.bugID = bug.id;
    item.appID = bug.appID;
    item.appName = bug.appName;
    item.bundleID = bug.bundleID;
    item.title = bug.title;
    item.bugURL = *Url::parse("https://bugs.acme.example/base/v1/bugs/view/" + bug.id);
    item.goalFlow = flowOf(bug);
    item.createdAt = bug.createdAt;
    item.addedAt = justNow;
    BugQueueItem& added = append(item, mode);
    added.status = waitingStatus(added);
    const std::string waits =
        added.status == waitingForMapping ? " while waiting for repository mapping" : "";
    const std::string queue = mode == QueueMode::manual ? "manual queue" : "queue";
    log(freshID, {.kind = "enqueued", .message = "Added to " + queue + waits + "."});
    return added;
}

void QueueModel::reorder(const Uuid& id, const std::optional<Uuid>& before) {
    if (!findMovable(id)) {
        return;
    }
    BugQueueItem item = take(id);
    List& queue = queues_[item.queueMode];
    const auto target = before ? positionOf(queue, *before) : queue.end();
    insertBehindLockedHead(item, static_cast<std::size_t>(target - queue.begin()));
    const std::string position = std::to_string(find(id)->queuePosition);
    log(id, {.kind = "reordered", .message = "Moved queue item to position " + position + "."});
}

void QueueModel::queueNext(const Uuid& id) {
    if (findMovable(id)) {
        insertBehindLockedHead(take(id), 0);
        log(id, {.kind = "queuedNext", .message = "Moved queue item next."});
    }
}

void QueueModel::cancel(const Uuid& id) {
    if (BugQueueItem* item = findActive(id)) {
        item->cancelledAt = justNow;
        const auto completedAt = item->completedAt;
        leave(id, cancelled, {.kind = "cancelled", .message = "Cancelled by user."});
        find(id)->completedAt = completedAt;
    }
}

QueueModel::Item QueueModel::remove(const Uuid& id) {
    const BugQueueItem* item = find(id);
    if (!item || item->status == startingCodex || item->status == running) {
        return std::nullopt;
    }
    events_.erase(id);
    return take(id);
}

QueueModel::Item QueueModel::removeImplementedReviewItem(const std::string& bugID) {
    const Item item = itemOfBug(bugID);
    return item && !locked.contains(item->status) ? remove(item->id) : std::nullopt;
}

QueueModel::Item QueueModel::retry(const Uuid& id, QueueItemGoalFlow flow, std::optional<QueueMode> mode) {
    BugQueueItem* item = find(id);
    if (!item) {
        return std::nullopt;
    }
    const QueueMode target = mode.value_or(item->queueMode);
    if (terminal.contains(item->status) || target != item->queueMode) {
        item = &append(take(id), target);
    }
    clearRun(*item);
    item->goalFlow = flow;
    log(id, {.kind = "retried", .message = "Queued for retry."});
    return *item;
}

QueueModel::Item QueueModel::move(const Uuid& id, QueueMode mode, std::optional<QueueItemGoalFlow> flow) {
    BugQueueItem* item = find(id);
    if (!item) {
        return std::nullopt;
    }
    if (terminal.contains(item->status)) {
        return retry(id, flow.value_or(item->goalFlow), mode);
    }
    if (locked.contains(item->status) || (mode == item->queueMode && !flow)) {
        return *item;
    }
    if (mode != item->queueMode) {
        item = &append(take(id), mode);
    }
    clearRun(*item);
    item->goalFlow = flow.value_or(item->goalFlow);
    const std::string name = mode == QueueMode::manual ? "manual" : "auto";
    log(id, {.kind = "queueModeChanged", .message = "Moved to " + name + " queue."});
    return *item;
}

void QueueModel::waitForCapacity(const Uuid& id) {
    if (BugQueueItem* item = findMovable(id)) {
        item->status = waitingForCapacity;
    }
}

QueueModel::Item QueueModel::item(const Uuid& id) const {
    for (const BugQueueItem& item : items()) {
        if (item.id == id) {
            return item;
        }
    }
    return std::nullopt;
}

QueueModel::Item QueueModel::itemOfBug(const std::string& bugID) const {
    for (const BugQueueItem& item : items()) {
        if (item.bugID == bugID) {
            return item;
        }
    }
    return std::nullopt;
}

std::vector<BugQueueItem> QueueModel::items() const {
    List all = left_;
    for (const auto& [mode, queue] : queues_) {
        all.insert(all.end(), queue.begin(), queue.end());
    }
    return all;
}

std::vector<ItemEvent> QueueModel::events(const Uuid& id) const {
    const auto found = events_.find(id);
    return found == events_.end() ? std::vector<ItemEvent>{} : found->second;
}

std::size_t QueueModel::eventCount() const {
    std::size_t count = 0;
    for (const auto& [id, events] : events_) {
        count += events.size();
    }
    return count;
}

void QueueModel::adoptTimes(const BugQueueItem& stored) {
    if (BugQueueItem* item = find(stored.id)) {
        item->addedAt = item->addedAt == justNow ? stored.addedAt : item->addedAt;
        adopt(item->startedAt, stored.startedAt);
        adopt(item->completedAt, stored.completedAt);
        adopt(item->cancelledAt, stored.cancelledAt);
    }
}

BugQueueItem* QueueModel::find(const Uuid& id) {
    for (List* list : {&queues_[QueueMode::automatic], &queues_[QueueMode::manual], &left_}) {
        const auto found = positionOf(*list, id);
        if (found != list->end()) {
            return &*found;
        }
    }
    return nullptr;
}

BugQueueItem* QueueModel::findActive(const Uuid& id) {
    BugQueueItem* item = find(id);
    return item && !terminal.contains(item->status) ? item : nullptr;
}

BugQueueItem* QueueModel::findMovable(const Uuid& id) {
    BugQueueItem* item = findActive(id);
    return item && !locked.contains(item->status) ? item : nullptr;
}

QueueModel::List::iterator QueueModel::positionOf(List& list, const Uuid& id) {
    return std::find_if(list.begin(), list.end(), [&](const BugQueueItem& item) { return item.id == id; });
}

/// Takes an item that is there out of its list.
BugQueueItem QueueModel::take(const Uuid& id) {
    BugQueueItem item = *find(id);
    List& list = terminal.contains(item.status) ? left_ : queues_[item.queueMode];
    list.erase(positionOf(list, id));
    renumber();
    return item;
}

BugQueueItem& QueueModel::append(BugQueueItem item, QueueMode mode) {
    item.queueMode = mode;
    queues_[mode].push_back(item);
    renumber();
    return queues_[mode].back();
}

void QueueModel::insertBehindLockedHead(BugQueueItem item, std::size_t target) {
    List& queue = queues_[item.queueMode];
    std::size_t head = 0;
    while (head < queue.size() && locked.contains(queue[head].status)) {
        ++head;
    }
    queue.insert(std::next(queue.begin(), static_cast<std::ptrdiff_t>(std::max(head, target))), item);
    renumber();
}

void QueueModel::renumber() {
    for (auto& [mode, queue] : queues_) {
        for (std::size_t index = 0; index < queue.size(); ++index) {
            queue[index].queuePosition = static_cast<std::int64_t>(index);
        }
    }
}

void QueueModel::clearRun(BugQueueItem& item) const {
    item.status = waitingStatus(item);
    item.activeSessionID.reset();
    item.errorMessage.reset();
    item.startedAt.reset();
    item.completedAt.reset();
    item.cancelledAt.reset();
}

QueueItemStatus QueueModel::waitingStatus(const BugQueueItem& item) const {
    return item.queueMode == QueueMode::manual || mapped_.contains(item.bundleID) ? queued
                                                                                  : waitingForMapping;
}

/// Ends an active item's time in its queue; it keeps the position that it had.
void QueueModel::leave(const Uuid& id, QueueItemStatus status, ItemEvent event,
                       std::optional<std::string> error) {
    if (!findActive(id)) {
        return;
    }
    BugQueueItem item = take(id);
    item.status = status;
    item.activeSessionID.reset();
    item.errorMessage = std::move(error);
    item.completedAt = justNow;
    left_.push_back(item);
    log(id, std::move(event));
}

void QueueModel::log(const Uuid& id, ItemEvent event) {
    events_[id].push_back(std::move(event));
}

}  // namespace quernlight::test
