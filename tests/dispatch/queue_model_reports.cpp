#include "tests/dispatch/queue_model.hpp"

// What reports about sessions do to the model.

namespace quernlight::test {
namespace {

using enum QueueItemStatus;

std::string ids(const std::string& name, const Uuid& id) {
    return "{\"" + name + "\":\"" + upperCaseText(id) + "\"}";
}

std::string ids(const std::string& first, const Uuid& firstID, const std::string& second,
                const Uuid& secondID) {
    return "{\"" + first + "\":\"" + upperCaseText(firstID) + "\",\"" + second + "\":\"" +
           upperCaseText(secondID) + "\"}";
}

}  // namespace

void QueueModel::markStarting(const Uuid& id, const Uuid& session) {
    if (BugQueueItem* item = findActive(id)) {
        item->status = startingCodex;
        item->activeSessionID = session;
        item->startedAt = justNow;
        item->errorMessage.reset();
        log(id, {.kind = "startingCodex", .message = "Starting Codex session.", .sessionID = session});
    }
}

void QueueModel::markRunning(const Uuid& id, const Uuid& session) {
    if (BugQueueItem* item = findActive(id)) {
        item->status = running;
        item->activeSessionID = session;
        item->startedAt = item->startedAt ? item->startedAt : justNow;
        item->errorMessage.reset();
        log(id, {.kind = "running", .message = "Codex session is running.", .sessionID = session});
    }
}

void QueueModel::markCodexCompleted(const Uuid& id, const Uuid& comment) {
    if (BugQueueItem* item = findActive(id)) {
        item->status = codexCompleted;
        item->errorMessage.reset();
        log(id, {.kind = "codexCompleted",
                 .message = "Completion comment detected; stopping Codex.",
                 .sessionID = item->activeSessionID,
                 .metadataJSON = ids("completion_comment_id", comment)});
    }
}

void QueueModel::markCompleted(const Uuid& id, const Uuid& comment) {
    leave(id, completed,
          {.kind = "completed",
           .message = "Completion comment detected.",
           .metadataJSON = ids("completion_comment_id", comment)});
}

void QueueModel::markAwaitingUserInput(const Uuid& id, const Uuid& comment) {
    leave(id, awaitingUserInput,
          {.kind = "awaitingUserInput",
           .message = "Agent asked the user for more information.",
           .metadataJSON = ids("comment_id", comment)});
}

void QueueModel::markFailed(const Uuid& id, const std::string& reason) {
    leave(id, failed, {.kind = "failed", .message = reason}, reason);
}

void QueueModel::markResumable(const Uuid& id) {
    if (BugQueueItem* item = findActive(id)) {
        item->status = waitingStatus(*item);
        item->activeSessionID.reset();
        item->errorMessage.reset();
        log(id, {.kind = "resumable", .message = "Codex session interrupted; queued to resume."});
    }
}

void QueueModel::setCodexSession(const Uuid& id, const Uuid& conversation, bool overwrite) {
    BugQueueItem* item = find(id);
    if (!item || item->codexSessionID == conversation) {
        return;
    }
    const auto stored = item->codexSessionID;
    if (!stored || overwrite) {
        item->codexSessionID = conversation;
    }
    if (!stored) {
        log(id, {.kind = "codexSessionStored",
                 .message = "Stored Codex session for future resume.",
                 .metadataJSON = ids("codex_session_id", conversation)});
    } else if (overwrite) {
        log(id,
            {.kind = "codexSessionRestored",
             .message = "Restored this bug to its canonical Codex session.",
             .metadataJSON = ids("previous_codex_session_id", *stored, "codex_session_id", conversation)});
    } else {
        log(id, {.kind = "codexSessionPreserved",
                 .message = "Ignored a different Codex session because this bug is already mapped to a "
                            "session.",
                 .metadataJSON =
                     ids("existing_codex_session_id", *stored, "ignored_codex_session_id", conversation)});
    }
}

}  // namespace quernlight::test
