#pragma once

#include <boost/json/object.hpp>

#include "host/service/queue_operations.hpp"

namespace quernlight::host {

// The queue's values as other programs are shown them, and read back. Members that are not known are null,
// none is left out; texts are as they are stored, whatever they would do to a terminal. Reading throws
// Misread.

/// "id", "bug", "app", "app_id", "bundle", "title", "url", "queue", "position", "status", "stage",
/// "stage_text", "needs_attention", "goal_flow", "priority", "session", "conversation", "error",
/// "created_at", "added_at", "started_at", "completed_at", "cancelled_at".
boost::json::object jsonOf(const QueueEntry& entry);
QueueEntry readQueueEntry(const boost::json::value& value);

/// "bug" and "unreadable", the sentence.
boost::json::object jsonOf(const UnreadableBug& bug);
UnreadableBug readUnreadableBug(const boost::json::value& value);

/// An entry, and "waits", "history" and "attempts".
boost::json::object jsonOf(const QueueItemDetails& details);
QueueItemDetails readQueueItemDetails(const boost::json::value& value);

/// "cause", "about", "amount", "limit", "until_seconds", and "sentence" for people.
boost::json::object jsonOf(const WaitReason& reason);
WaitReason readWaitReason(const boost::json::value& value);

/// "id", "item", "session", "kind", "message", "metadata" and "time".
boost::json::object jsonOf(const QueueEvent& event);
QueueEvent readQueueEvent(const boost::json::value& value);

/// "id", "item", "bug", "number", "state", "session", "conversation", "pid", "exit_code", "repository",
/// "worktree", "directory", "transcript", "transcript_ansi", "goal", "started_at", "last_output_at",
/// "ended_at", "comment", "comment_at" and "failure".
boost::json::object jsonOf(const SessionAttemptRecord& attempt);
SessionAttemptRecord readAttempt(const boost::json::value& value);

/// "bug", "queued": null or its details, and "retired": null or "title", "time" and "preserved".
boost::json::object jsonOf(const BugState& state);
BugState readBugState(const boost::json::value& value);

/// What a change asks for, but for the action and the bug, which its path names: "again" and "confirmed",
/// false where they are missing, and "before".
boost::json::object jsonOf(const QueueChange& change);
QueueChange readQueueChange(QueueAction action, std::string bugID, const boost::json::value& value);

}  // namespace quernlight::host
