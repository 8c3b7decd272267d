#include "host/live_items.hpp"

#include <boost/json/parse.hpp>

namespace quernlight::host {
namespace {

/// A completion comment that had been seen. When it was written is no longer known; when it was seen is.
struct SeenCompletion {
    Uuid commentID{};
    Instant seenAt{};
};

/// The comment that the item's latest "codexCompleted" event names.
Task<std::optional<SeenCompletion>> seenCompletionOf(const DispatchStore& store, const BugQueueItem& item) {
    std::optional<SeenCompletion> completion;
    for (const QueueEvent& event : co_await store.items.events(item.id)) {
        if (event.kind == "codexCompleted" && event.metadataJSON) {
            const boost::json::value metadata = boost::json::parse(*event.metadataJSON);
            if (const auto comment = parseUuid(metadata.at("completion_comment_id").as_string())) {
                completion = SeenCompletion{*comment, event.createdAt};
            }
        }
    }
    co_return completion;
}

Task<void> complete(const DispatchStore& store, QueueManager& manager, const BugQueueItem& item,
                    SeenCompletion completion) {
    if (const auto attempt = co_await store.attempts.latestAttempt(item.id)) {
        co_await store.attempts.markCompleted(attempt->id, completion.commentID, completion.seenAt,
                                              currentInstant());
    }
    co_await manager.markCompleted(item.id, completion.commentID);
}

Task<void> failAttempt(const DispatchStore& store, const BugQueueItem& item) {
    const auto attempt = co_await store.attempts.latestAttempt(item.id);
    if (attempt && attempt->state != SessionAttemptState::completed &&
        attempt->state != SessionAttemptState::failed) {
        co_await store.attempts.markFailed(attempt->id, interruptedReason, currentInstant());
    }
}

Task<void> settle(const DispatchStore& store, QueueManager& manager, const BugQueueItem& item) {
    if (item.status == QueueItemStatus::codexCompleted) {
        if (const auto completion = co_await seenCompletionOf(store, item)) {
            co_return co_await complete(store, manager, item, *completion);
        }
    }
    co_await failAttempt(store, item);
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
