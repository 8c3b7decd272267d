#include "quernlight/dispatch/item_transitions.hpp"

#include <string_view>
#include <utility>

namespace quernlight {
namespace {

/// `"NAME":"ID"`, a member of an event's metadata.
std::string idMember(std::string_view name, const Uuid& id) {
    return "\"" + std::string(name) + "\":\"" + upperCaseText(id) + "\"";
}

/// The session is over and the item leaves the active queue.
void end(BugQueueItem& item, QueueItemStatus status, Instant now) {
    item.status = status;
    item.activeSessionID.reset();
    item.errorMessage.reset();
    item.completedAt = now;
}

}  // namespace

ItemTransition ItemTransitions::starting(const Uuid& sessionID) {
    return [sessionID](BugQueueItem& item, Instant now) {
        item.status = QueueItemStatus::startingCodex;
        item.activeSessionID = sessionID;
        item.startedAt = now;
        item.errorMessage.reset();
        return ItemEvent{
            .kind = "startingCodex", .message = "Starting Codex session.", .sessionID = sessionID};
    };
}

ItemTransition ItemTransitions::running(const Uuid& sessionID) {
    return [sessionID](BugQueueItem& item, Instant now) {
        item.status = QueueItemStatus::running;
        item.activeSessionID = sessionID;
        item.startedAt = item.startedAt.value_or(now);
        item.errorMessage.reset();
        return ItemEvent{.kind = "running", .message = "Codex session is running.", .sessionID = sessionID};
    };
}

ItemTransition ItemTransitions::codexCompleted(const Uuid& completionCommentID) {
    return [completionCommentID](BugQueueItem& item, Instant) {
        // Not yet over: the agent is being stopped, so the item keeps its session and its place at the head.
        item.status = QueueItemStatus::codexCompleted;
        item.errorMessage.reset();
        return ItemEvent{.kind = "codexCompleted",
                         .message = "Completion comment detected; stopping Codex.",
                         .sessionID = item.activeSessionID,
                         .metadataJSON = "{" + idMember("completion_comment_id", completionCommentID) + "}"};
    };
}

ItemTransition ItemTransitions::completed(const Uuid& completionCommentID) {
    return [completionCommentID](BugQueueItem& item, Instant now) {
        end(item, QueueItemStatus::completed, now);
        return ItemEvent{.kind = "completed",
                         .message = "Completion comment detected.",
                         .metadataJSON = "{" + idMember("completion_comment_id", completionCommentID) + "}"};
    };
}

ItemTransition ItemTransitions::awaitingUserInput(const Uuid& commentID) {
    return [commentID](BugQueueItem& item, Instant now) {
        end(item, QueueItemStatus::awaitingUserInput, now);
        return ItemEvent{.kind = "awaitingUserInput",
                         .message = "Agent asked the user for more information.",
                         .metadataJSON = "{" + idMember("comment_id", commentID) + "}"};
    };
}

ItemTransition ItemTransitions::failed(std::string reason) {
    return [reason = std::move(reason)](BugQueueItem& item, Instant now) {
        end(item, QueueItemStatus::failed, now);
        item.errorMessage = reason;
        return ItemEvent{.kind = "failed", .message = reason};
    };
}

ItemTransition ItemTransitions::resumable(QueueItemStatus waitingStatus) {
    return [waitingStatus](BugQueueItem& item, Instant) {
        item.status = waitingStatus;
        item.activeSessionID.reset();
        item.errorMessage.reset();
        return ItemEvent{.kind = "resumable", .message = "Codex session interrupted; queued to resume."};
    };
}

std::optional<ItemEvent> ItemTransitions::bindCodexSession(BugQueueItem& item, const Uuid& codexSessionID,
                                                           bool overwriteExisting) {
    const auto existing = item.codexSessionID;
    if (existing == codexSessionID) {
        return std::nullopt;
    }
    if (existing && !overwriteExisting) {
        return ItemEvent{
            .kind = "codexSessionPreserved",
            .message = "Ignored a different Codex session because this bug is already mapped to a session.",
            .metadataJSON = "{" + idMember("existing_codex_session_id", *existing) + "," +
                            idMember("ignored_codex_session_id", codexSessionID) + "}"};
    }
    item.codexSessionID = codexSessionID;
    if (!existing) {
        return ItemEvent{.kind = "codexSessionStored",
                         .message = "Stored Codex session for future resume.",
                         .metadataJSON = "{" + idMember("codex_session_id", codexSessionID) + "}"};
    }
    return ItemEvent{.kind = "codexSessionRestored",
                     .message = "Restored this bug to its canonical Codex session.",
                     .metadataJSON = "{" + idMember("previous_codex_session_id", *existing) + "," +
                                     idMember("codex_session_id", codexSessionID) + "}"};
}

}  // namespace quernlight
