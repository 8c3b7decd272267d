#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/dispatcher/admission.hpp"
#include "host/events/session_stage.hpp"
#include "host/service/queue_actions.hpp"
#include "host/store/retired_bugs.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

// What is asked of the queue and answered, as values. Bug ids are taken in any written form.

/// An item, and where it is on its way. In the manual queue the item alone does not tell: a start may have
/// been asked for.
struct QueueEntry {
    BugQueueItem item{};
    SessionStage stage{};
};

/// An item whose row is none that can be read here.
struct UnreadableBug {
    std::string bugID{};     ///< empty where not even that can be read
    std::string sentence{};  ///< what is the matter, and what to do about it

    bool operator==(const UnreadableBug&) const = default;
};

struct QueueList {
    /// By queue (the automatic one first), then position; also those that have left their queue.
    std::vector<QueueEntry> entries{};
    std::vector<UnreadableBug> unreadable{};
};

/// An item with all that is stored of it.
struct QueueItemDetails {
    BugQueueItem item{};
    SessionStage stage{};
    std::optional<WaitReason> waits{};             ///< absent when it runs, has ended, or would start
    std::vector<QueueEvent> history{};             ///< oldest first
    std::vector<SessionAttemptRecord> attempts{};  ///< oldest first
};

/// An action on one item.
struct QueueChange {
    QueueAction action{};
    std::string bugID{};
    Consent consent{};
    std::string before{};  ///< of `reorder`: the bug in front of which it goes; empty: the end of its queue
};

/// A bug that is in the queue, or whose work was merged and which has left it.
struct BugState {
    std::string bugID{};                       ///< in short form
    std::optional<QueueItemDetails> queued{};  ///< absent once it has left
    std::optional<RetiredBug> retired{};
};

}  // namespace quernlight::host
