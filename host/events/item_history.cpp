#include "host/events/item_history.hpp"

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {
namespace {

/// The queue manager stores the end of a session without the session's id, and the agent's conversation.
bool isStoredWithoutItsSession(EventKind kind) {
    return endsSession(kind) || kind == EventKind::codexSessionStored ||
           kind == EventKind::codexSessionPreserved || kind == EventKind::codexSessionRestored;
}

}  // namespace

Task<void> appendEvent(QueueRepository items, ItemEvent event) {
    co_await items.appendEvent(event.itemID, storedText(event.kind), event.message, event.sessionID,
                               event.metadataJSON, currentInstant());
}

bool isOfKind(const QueueEvent& event, EventKind kind) {
    return event.kind == storedText(kind);
}

QueueRepository HistoryPublisher::publishing(const QueueRepository& items) {
    return items.observedBy(
        [this](const QueueEvent& event, const std::string& bugID) { publish(event, bugID); });
}

void HistoryPublisher::publish(const QueueEvent& event, const std::string& bugID) {
    ItemChanged changed{.bugID = bugID, .event = event};
    changed.event.sessionID = sessionOf(event);
    events_.publish(changed);
}

std::optional<Uuid> HistoryPublisher::sessionOf(const QueueEvent& event) {
    const auto kind = parseEventKind(event.kind);
    const auto begun = open_.find(event.queueItemID);
    auto sessionID = event.sessionID;
    if (!sessionID && kind && isStoredWithoutItsSession(*kind) && begun != open_.end()) {
        sessionID = begun->second;
    }
    if (kind == EventKind::startingCodex && event.sessionID) {
        open_[event.queueItemID] = *event.sessionID;
    } else if (kind && (endsSession(*kind) || kind == EventKind::retried)) {
        open_.erase(event.queueItemID);
    }
    return sessionID;
}

}  // namespace quernlight::host
