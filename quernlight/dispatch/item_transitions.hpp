#pragma once

#include <functional>
#include <optional>
#include <string>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight {

/// A line for an item's history.
struct ItemEvent {
    std::string kind{};
    std::string message{};  ///< for people
    std::optional<Uuid> sessionID{};
    std::optional<std::string> metadataJSON{};  ///< an object without blanks; ids are upper-case text

    bool operator==(const ItemEvent&) const = default;
};

/// What becomes of an item when its agent's session comes to something: changes the item as of the given time
/// and says what happened. Whether the item may change so at all is the queue manager's rule.
using ItemTransition = std::function<ItemEvent(BugQueueItem&, Instant now)>;

/// The transitions of an item's status that sessions bring about, in the order of a session's life. Pure
/// functions, for any thread.
struct ItemTransitions {
    ItemTransitions() = delete;

    /// The session is the item's, and its time begins now.
    static ItemTransition starting(const Uuid& sessionID);
    /// The session is the item's; its time begins now unless it has begun.
    static ItemTransition running(const Uuid& sessionID);
    /// The item keeps its session, which the event names.
    static ItemTransition codexCompleted(const Uuid& completionCommentID);
    /// These three end the session: the item has none any more and is completed at the given time.
    static ItemTransition completed(const Uuid& completionCommentID);
    static ItemTransition awaitingUserInput(const Uuid& commentID);
    /// `reason` is the item's error message and the event's.
    static ItemTransition failed(std::string reason);
    /// The item has no session any more. `waitingStatus` is the one that the item's queue and mapping call
    /// for.
    static ItemTransition resumable(QueueItemStatus waitingStatus);

    /// Binds the item to the agent's own conversation; the event tells its id. An item that is bound to
    /// another one keeps it unless that is to be overwritten; the event tells both. Nothing when the item is
    /// bound to this one already.
    static std::optional<ItemEvent> bindCodexSession(BugQueueItem& item, const Uuid& codexSessionID,
                                                     bool overwriteExisting);
};

}  // namespace quernlight
