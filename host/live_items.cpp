#include "host/live_items.hpp"

#include <boost/json/parse.hpp>

namespace quernlight::host {
namespace {

constexpr std::string_view interruptedReason = "Dispatcher stopped while the session was running.";

/// The comment that the item's latest "codexCompleted" event names.
Task<std::optional<Uuid>> completionCommentOf(const DispatchStore& store, const BugQueueItem& item) {
    std::optional<Uuid> comment;
    for (const QueueEvent& event : co_await store.items.events(item.id)) {
        if (event.kind == "codexCompleted" && event.metadataJSON) {
            const boost::json::value metadata = boost::json::parse(*event.metadataJSON);
            comment = parseUuid(metadata.at("completion_comment_id").as_string());
        }
    }
    co_return comment;
}

Task<void> settleAttempt(const DispatchStore& store, const BugQueueItem& item) {
    const auto attempt = co_await store.attempts.latestAttempt(item.id);
    if (attempt && attempt->state != SessionAttemptState::completed &&
        attempt->state != SessionAttemptState::failed) {
        co_await store.attempts.markFailed(attempt->id, interruptedReason, currentInstant());
    }
}

Task<void> settle(const DispatchStore& store, QueueManager& manager, const BugQueueItem& item) {
    if (item.status == QueueItemStatus::codexCompleted) {
        if (const auto comment = co_await completionCommentOf(store, item)) {
            co_return co_await manager.markCompleted(item.id, *comment);
        }
    }
    co_await settleAttempt(store, item);
    co_await manager.markResumable(item.id);
}

}  // namespace

Task<int> settleLiveItems(const DispatchStore& store, QueueManager& manager) {
    int settled = 0;
    for (const BugQueueItem& item : co_await store.items.items()) {
        if (isReorderLocked(item.status)) {
            co_await settle(store, manager, item);
            ++settled;
        }
    }
    co_return settled;
}

}  // namespace quernlight::host
