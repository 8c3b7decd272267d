#include "host/dispatcher/fact_gatherer.hpp"
#include "host/dispatcher/start_request.hpp"
#include "host/events/item_history.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

std::string describe(const RetiredBug& bug) {
    const std::string kept = bug.preservedReference ? "; work kept at " + *bug.preservedReference : "";
    return "Bug " + bug.bugID + " (" + withoutControls(bug.title) + ") left the queue at " +
           formatInstant(bug.retiredAt) + ": it is merged" + kept + ".";
}

ServiceError notInQueue(const std::string& bugID, const std::optional<RetiredBug>& retired) {
    return {ServiceErrorCode::notFound,
            retired ? describe(*retired)
                    : "Bug " + bugID + " is not in the queue; see: quernlight-dispatch queue list"};
}

/// Of an item of the manual queue the history tells whether a start was asked for.
Task<SessionStage> stageIn(DispatchStore store, BugQueueItem item) {
    const SessionStage stage = stageOf(item);
    if (stage != SessionStage::needsStart) {
        co_return stage;
    }
    const auto events = co_await store.items.events(item.id);
    if (!startIsRequested(events)) {
        co_return stage;
    }
    const auto mapping = co_await store.mappings.mapping(item.bundleID);
    co_return mapping ? SessionStage::queued : SessionStage::needsMapping;
}

Task<BugQueueItem> itemOf(DispatchStore store, std::string bugID) {
    if (!isValidUtf8(bugID)) {
        throw ServiceError(ServiceErrorCode::invalid,
                           "The bug's id is not valid UTF-8; see: quernlight-dispatch queue list");
    }
    const auto item = co_await store.items.item(std::string_view(bugID));
    if (!item) {
        const auto retired = co_await store.retired.bug(bugID);
        throw notInQueue(bugID, retired);
    }
    co_return *item;
}

Task<QueueItemDetails> detailsOf(DispatchStore store, BugQueueItem item) {
    const auto waits = co_await reasonToWait(store, item.id);
    auto history = co_await store.items.events(item.id);
    auto attempts = co_await store.attempts.attempts(item.id);
    const SessionStage stage = co_await stageIn(store, item);
    co_return QueueItemDetails{.item = std::move(item),
                               .stage = stage,
                               .waits = waits,
                               .history = std::move(history),
                               .attempts = std::move(attempts)};
}

void requireAllowed(QueueActionVerdict verdict, const BugQueueItem& item) {
    using enum ServiceErrorCode;
    if (verdict == QueueActionVerdict::needsConfirmation) {
        throw ServiceError(needsConfirmation, queueActionSentence(verdict, item));
    }
    if (verdict != QueueActionVerdict::allowed) {
        throw ServiceError(refused, queueActionSentence(verdict, item));
    }
}

Task<void> requestStart(DispatchStore store, BugQueueItem item) {
    ItemEvent event{
        .itemID = item.id, .kind = EventKind::startRequested, .message = "A person has asked for a start."};
    co_await appendEvent(store.items, std::move(event));
}

Task<void> apply(QueueAction action, OwnedStore owned, BugQueueItem item) {
    QueueManager& manager = *owned.manager;
    switch (action) {
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
            co_await manager.move(item.id, QueueMode::manual, std::nullopt);
            co_return;
        case QueueAction::moveToAuto:
            co_await manager.move(item.id, QueueMode::automatic, std::nullopt);
            co_return;
    }
}

}  // namespace

Task<QueueEntry> queueEntry(DispatchStore store, BugQueueItem item) {
    const SessionStage stage = co_await stageIn(std::move(store), item);
    co_return QueueEntry{.item = std::move(item), .stage = stage};
}

Task<std::vector<QueueEntry>> queueEntries(DispatchStore store) {
    std::vector<QueueEntry> entries;
    for (BugQueueItem& item : co_await store.items.items(wholeQueue)) {
        entries.push_back(co_await queueEntry(store, std::move(item)));
    }
    co_return entries;
}

Task<QueueItemDetails> queueItemDetails(DispatchStore store, std::string bugID) {
    BugQueueItem item = co_await itemOf(store, std::move(bugID));
    co_return co_await detailsOf(store, std::move(item));
}

Task<BugState> bugState(DispatchStore store, std::string bugID) {
    BugState state{.bugID = BugID::normalized(bugID)};
    auto item = co_await store.items.item(std::string_view(bugID));
    state.retired = co_await store.retired.bug(bugID);
    if (!item && !state.retired) {
        throw notInQueue(bugID, std::nullopt);
    }
    if (item) {
        state.queued = co_await detailsOf(store, std::move(*item));
    }
    co_return state;
}

Task<QueueEntry> changeItem(OwnedStore owned, QueueChange change) {
    BugQueueItem item = co_await itemOf(owned.store, change.bugID);
    const auto attempt = co_await owned.store.attempts.latestAttempt(item.id);
    const auto mapping = co_await owned.store.mappings.mapping(item.bundleID);
    const QueueActionFacts facts = queueActionFacts(item, attempt, mapping.has_value());
    requireAllowed(queueActionVerdict(change.action, facts, change.consent), item);
    co_await apply(change.action, owned, item);
    auto changed = co_await owned.store.items.item(item.id);
    co_return co_await queueEntry(owned.store, std::move(changed).value_or(std::move(item)));
}

}  // namespace quernlight::host
