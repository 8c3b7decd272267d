#include <optional>

#include "host/dispatcher/start_request.hpp"
#include "host/events/item_history.hpp"
#include "host/events/session_stage.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/shell_text.hpp"

namespace quernlight::host {
namespace {

/// An item, and what may be done to it, at one moment.
struct ItemLook {
    BugQueueItem item{};
    QueueActionVerdict verdict{};
};

void requireAllowed(QueueAction action, QueueActionVerdict verdict, const BugQueueItem& item) {
    using enum ServiceErrorCode;
    if (verdict != QueueActionVerdict::allowed) {
        const bool isAsked = verdict == QueueActionVerdict::needsConfirmation;
        throw ServiceError(isAsked ? needsConfirmation : refused, queueActionSentence(action, verdict, item));
    }
}

Task<void> moveBefore(OwnedStore owned, BugQueueItem item, std::string before) {
    if (before.empty()) {
        co_return co_await owned.manager->reorder(item.id, std::nullopt);
    }
    const BugQueueItem next = co_await itemNamed(owned.store, std::move(before));
    if (next.queueMode != item.queueMode || isTerminal(next.status) || isReorderLocked(next.status)) {
        throw ServiceError(ServiceErrorCode::refused,
                           "Bug " + next.bugID + " (" + std::string(statusText(next)) +
                               ") does not wait in the same queue as bug " + item.bugID +
                               ", so nothing can be put in front of it.");
    }
    co_await owned.manager->reorder(item.id, next.id);
}

Task<void> removeItem(QueueManager& manager, BugQueueItem item) {
    const auto removed = co_await manager.remove(item.id);
    if (!removed) {
        throw ServiceError(ServiceErrorCode::refused,
                           "Bug " + item.bugID + " was started a moment ago; nothing was changed.");
    }
}

Task<void> requestStart(DispatchStore store, BugQueueItem item) {
    ItemEvent event{
        .itemID = item.id, .kind = EventKind::startRequested, .message = "A person has asked for a start."};
    co_await appendEvent(store.items, std::move(event));
}

/// In the manual queue already, it is only no longer to be started.
Task<void> hold(OwnedStore owned, BugQueueItem item) {
    if (item.queueMode != QueueMode::manual) {
        co_await owned.manager->move(item.id, QueueMode::manual, std::nullopt);
        co_return;
    }
    const auto history = co_await owned.store.items.events(item.id);
    if (startIsRequested(history)) {
        ItemEvent event{.itemID = item.id,
                        .kind = EventKind::queueModeChanged,
                        .message = "A person holds it: its start is not asked for any more."};
        co_await appendEvent(owned.store.items, std::move(event));
    }
}

Task<void> apply(QueueChange change, OwnedStore owned, BugQueueItem item) {
    QueueManager& manager = *owned.manager;
    switch (change.action) {
        case QueueAction::start:
            co_return co_await requestStart(owned.store, std::move(item));
        case QueueAction::next:
            co_return co_await manager.queueNext(item.id);
        case QueueAction::retry:
            co_await manager.retry(item.id, item.goalFlow, std::nullopt);
            co_return;
        case QueueAction::cancel:
            co_return co_await manager.cancel(item.id);
        case QueueAction::moveToManual:
            co_return co_await hold(std::move(owned), std::move(item));
        case QueueAction::moveToAuto:
            co_await manager.move(item.id, QueueMode::automatic, std::nullopt);
            co_return;
        case QueueAction::reorder:
            co_return co_await moveBefore(owned, std::move(item), std::move(change.before));
        case QueueAction::remove:
            co_return co_await removeItem(manager, std::move(item));
    }
}

/// The owner's part of it is asked for last: until the effect nothing but the store is waited for, and the
/// claim keeps sessions from the item meanwhile.
Task<ItemLook> lookAt(OwnedStore owned, const QueueChange& change, const ItemUses& uses, Uuid itemID) {
    auto item = co_await owned.store.items.item(itemID);
    std::optional<AppMapping> mapping;
    if (item) {
        mapping = co_await owned.store.mappings.mapping(item->bundleID);
    }
    const auto attempt = co_await owned.store.attempts.latestAttempt(itemID);
    item = co_await owned.store.items.item(itemID);
    if (!item) {
        throw ServiceError(ServiceErrorCode::notFound, "Bug " + change.bugID + " has just left the queue.");
    }
    const auto work = uses.workOn ? std::optional(uses.workOn(itemID)) : std::nullopt;
    const QueueActionFacts facts = queueActionFacts(*item, attempt, mapping.has_value(), work);
    co_return ItemLook{.item = *item, .verdict = queueActionVerdict(change.action, facts, change.consent)};
}

Task<void> storeWish(DispatchStore store, const BugQueueItem& item, QueueAction action) {
    const bool cancels = action == QueueAction::cancel;
    ItemEvent event{.itemID = item.id,
                    .kind = cancels ? EventKind::cancelRequested : EventKind::holdRequested,
                    .message = cancels ? "A person has asked that it is cancelled."
                                       : "A person has asked that it is held."};
    co_await appendEvent(store.items, std::move(event));
}

/// What has ended cannot be held.
ServiceError unreconciled(const BugQueueItem& item, const std::string& trouble) {
    const std::string bug = "Bug " + item.bugID + " (" + std::string(statusText(item)) + "): " + trouble;
    const std::string again = " Try again once that has changed";
    return {ServiceErrorCode::refused,
            isTerminal(item.status)
                ? bug + again + "."
                : bug + again +
                      ", or have it held as soon as it can be with: quernlight-dispatch queue hold " +
                      shellQuoted(item.bugID)};
}

/// What its last session has come to counts before the change does. A wish is stored before anything else;
/// whoever reconciles the item grants it. Whether that has been done here.
Task<bool> reconcileFirst(OwnedStore owned, BugQueueItem item, QueueAction action, const ItemUses& uses) {
    if (isWish(action)) {
        co_await storeWish(owned.store, item, action);
    }
    const std::string trouble = co_await uses.reconcile(owned, item);
    if (!trouble.empty() && !isWish(action)) {
        throw unreconciled(item, trouble);
    }
    co_return !isWish(action);
}

Task<QueueEntry> entryOf(DispatchStore store, BugQueueItem before) {
    auto changed = co_await store.items.item(before.id);
    if (!changed) {
        const SessionStage stage = stageOf(before);
        co_return QueueEntry{.item = std::move(before), .stage = stage};
    }
    co_return co_await queueEntry(std::move(store), std::move(*changed));
}

}  // namespace

Task<QueueEntry> changeItem(OwnedStore owned, QueueChange change, ItemUses uses) {
    const BugQueueItem named = co_await itemNamed(owned.store, change.bugID);
    const ItemClaim claim = uses.claim ? uses.claim(named.id) : nullptr;
    ItemLook look = co_await lookAt(owned, change, uses, named.id);
    if (look.verdict == QueueActionVerdict::reconcileFirst) {
        const bool goesOn = co_await reconcileFirst(owned, look.item, change.action, uses);
        if (!goesOn) {
            co_return co_await entryOf(owned.store, std::move(look.item));
        }
        look = co_await lookAt(owned, change, uses, named.id);
    }
    requireAllowed(change.action, look.verdict, look.item);
    co_await apply(std::move(change), owned, look.item);
    co_return co_await entryOf(owned.store, std::move(look.item));
}

}  // namespace quernlight::host
