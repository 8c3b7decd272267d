#include "host/service/queue_json.hpp"

#include <algorithm>
#include <array>
#include <filesystem>

#include "host/service/json_fields.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

BugQueueItem readItem(const JsonFields& fields) {
    return {.id = fields.uuid("id"),
            .bugID = fields.text("bug"),
            .appID = fields.uuid("app_id"),
            .appName = fields.text("app"),
            .bundleID = fields.text("bundle"),
            .title = fields.text("title"),
            .bugURL = fields.optionalUrl("url").value_or(Url()),
            .queuePosition = fields.integer("position"),
            .queueMode = fields.parsed("queue", queueModeFromRawValue),
            .status = fields.parsed("status", queueItemStatusFromRawValue),
            .goalFlow = fields.parsed("goal_flow", queueItemGoalFlowFromRawValue),
            .priority = fields.integer("priority"),
            .activeSessionID = fields.optionalUuid("session"),
            .codexSessionID = fields.optionalUuid("conversation"),
            .errorMessage = fields.optionalText("error"),
            .createdAt = fields.instant("created_at"),
            .addedAt = fields.instant("added_at"),
            .startedAt = fields.optionalInstant("started_at"),
            .completedAt = fields.optionalInstant("completed_at"),
            .cancelledAt = fields.optionalInstant("cancelled_at")};
}

SessionStage readStage(const JsonFields& fields) {
    return fields.parsed("stage", parseStageName);
}

std::optional<std::int32_t> readSmall(const JsonFields& fields, std::string_view name) {
    const auto number = fields.optionalInteger(name);
    return number ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

json::value jsonOf(const std::optional<RetiredBug>& retired) {
    if (!retired) {
        return nullptr;
    }
    return json::object{{"title", jsonText(retired->title)},
                        {"time", formatInstant(retired->retiredAt)},
                        {"preserved", jsonIfAny(retired->preservedReference)}};
}

std::optional<RetiredBug> readRetired(const std::string& bugID, const json::value& value) {
    if (value.is_null()) {
        return std::nullopt;
    }
    const JsonFields fields(value);
    return RetiredBug{.bugID = bugID,
                      .title = fields.text("title"),
                      .retiredAt = fields.instant("time"),
                      .preservedReference = fields.optionalText("preserved")};
}

}  // namespace

json::object jsonOf(const QueueEntry& entry) {
    const BugQueueItem& item = entry.item;
    return {{"id", upperCaseText(item.id)},
            {"bug", jsonText(item.bugID)},
            {"app", jsonText(item.appName)},
            {"app_id", upperCaseText(item.appID)},
            {"bundle", jsonText(item.bundleID)},
            {"title", jsonText(item.title)},
            {"url", jsonText(item.bugURL.text())},
            {"queue", rawValue(item.queueMode)},
            {"position", item.queuePosition},
            {"status", rawValue(item.status)},
            {"stage", stageName(entry.stage)},
            {"stage_text", statusText(entry.stage)},
            {"needs_attention", needsAttention(entry.stage)},
            {"goal_flow", rawValue(item.goalFlow)},
            {"priority", item.priority},
            {"session", jsonIfAny(item.activeSessionID)},
            {"conversation", jsonIfAny(item.codexSessionID)},
            {"error", jsonIfAny(item.errorMessage)},
            {"created_at", formatInstant(item.createdAt)},
            {"added_at", formatInstant(item.addedAt)},
            {"started_at", jsonIfAny(item.startedAt)},
            {"completed_at", jsonIfAny(item.completedAt)},
            {"cancelled_at", jsonIfAny(item.cancelledAt)}};
}

QueueEntry readQueueEntry(const json::value& value) {
    const JsonFields fields(value);
    return {.item = readItem(fields), .stage = readStage(fields)};
}

json::object jsonOf(const UnreadableBug& bug) {
    return {{"bug", jsonText(bug.bugID)}, {"unreadable", jsonText(bug.sentence)}};
}

UnreadableBug readUnreadableBug(const json::value& value) {
    const JsonFields fields(value);
    return {.bugID = fields.text("bug"), .sentence = fields.text("unreadable")};
}

json::object jsonOf(const WaitReason& reason) {
    return {{"cause", nameOf(reason.cause)},
            {"about", jsonText(reason.about)},
            {"amount", reason.amount},
            {"limit", reason.limit},
            {"until_seconds", reason.until ? json::value(reason.until->count()) : json::value(nullptr)},
            {"sentence", jsonText(sentenceOf(reason))}};
}

WaitReason readWaitReason(const json::value& value) {
    const JsonFields fields(value);
    WaitReason reason{.cause = fields.parsed("cause", parseWaitCause),
                      .about = fields.text("about"),
                      .amount = fields.integer("amount"),
                      .limit = fields.integer("limit")};
    if (const auto seconds = fields.optionalInteger("until_seconds")) {
        reason.until = std::chrono::seconds(*seconds);
    }
    return reason;
}

json::object jsonOf(const QueueEvent& event) {
    return {{"id", upperCaseText(event.id)},         {"item", upperCaseText(event.queueItemID)},
            {"session", jsonIfAny(event.sessionID)}, {"kind", jsonText(event.kind)},
            {"message", jsonText(event.message)},    {"metadata", jsonIfAny(event.metadataJSON)},
            {"time", formatInstant(event.createdAt)}};
}

QueueEvent readQueueEvent(const json::value& value) {
    const JsonFields fields(value);
    return {.id = fields.uuid("id"),
            .queueItemID = fields.uuid("item"),
            .sessionID = fields.optionalUuid("session"),
            .kind = fields.text("kind"),
            .message = fields.text("message"),
            .metadataJSON = fields.optionalText("metadata"),
            .createdAt = fields.instant("time")};
}

json::object jsonOf(const SessionAttemptRecord& attempt) {
    const std::filesystem::path transcript = attempt.transcriptTextPath;
    return {{"id", upperCaseText(attempt.id)},
            {"item", jsonIfAny(attempt.queueItemID)},
            {"bug", jsonText(attempt.bugID)},
            {"number", attempt.attemptNumber},
            {"state", rawValue(attempt.state)},
            {"session", jsonText(attempt.completionMarker)},
            {"conversation", jsonIfAny(attempt.codexSessionID)},
            {"pid", jsonIfAny(attempt.pid)},
            {"exit_code", jsonIfAny(attempt.exitCode)},
            {"repository", jsonText(attempt.repoPath)},
            {"worktree", jsonIfAny(attempt.agentWorkspacePath)},
            {"directory", jsonText(transcript.parent_path().native())},
            {"transcript", jsonText(attempt.transcriptTextPath)},
            {"transcript_ansi", jsonText(attempt.transcriptANSIPath)},
            {"goal", jsonText(attempt.goalText)},
            {"started_at", formatInstant(attempt.startedAt)},
            {"last_output_at", jsonIfAny(attempt.lastOutputAt)},
            {"ended_at", jsonIfAny(attempt.endedAt)},
            {"comment", jsonIfAny(attempt.completionCommentID)},
            {"comment_at", jsonIfAny(attempt.completionCommentCreatedAt)},
            {"failure", jsonIfAny(attempt.failureReason)}};
}

SessionAttemptRecord readAttempt(const json::value& value) {
    const JsonFields fields(value);
    return {.id = fields.uuid("id"),
            .queueItemID = fields.optionalUuid("item"),
            .attemptNumber = fields.integer("number"),
            .bugID = fields.text("bug"),
            .repoPath = fields.text("repository"),
            .agentWorkspacePath = fields.optionalText("worktree"),
            .transcriptANSIPath = fields.text("transcript_ansi"),
            .transcriptTextPath = fields.text("transcript"),
            .goalText = fields.text("goal"),
            .completionMarker = fields.text("session"),
            .codexSessionID = fields.optionalUuid("conversation"),
            .pid = readSmall(fields, "pid"),
            .state = fields.parsed("state", sessionAttemptStateFromRawValue),
            .exitCode = readSmall(fields, "exit_code"),
            .startedAt = fields.instant("started_at"),
            .lastOutputAt = fields.optionalInstant("last_output_at"),
            .endedAt = fields.optionalInstant("ended_at"),
            .completionCommentID = fields.optionalUuid("comment"),
            .completionCommentCreatedAt = fields.optionalInstant("comment_at"),
            .failureReason = fields.optionalText("failure")};
}

json::object jsonOf(const QueueItemDetails& details) {
    json::object object = jsonOf(QueueEntry{.item = details.item, .stage = details.stage});
    object["waits"] = details.waits ? json::value(jsonOf(*details.waits)) : json::value(nullptr);
    object["history"] = jsonArray(details.history, [](const QueueEvent& event) { return jsonOf(event); });
    object["attempts"] =
        jsonArray(details.attempts, [](const SessionAttemptRecord& attempt) { return jsonOf(attempt); });
    return object;
}

QueueItemDetails readQueueItemDetails(const json::value& value) {
    const JsonFields fields(value);
    QueueItemDetails details{.item = readItem(fields),
                             .stage = readStage(fields),
                             .history = readEach(fields.list("history"), readQueueEvent),
                             .attempts = readEach(fields.list("attempts"), readAttempt)};
    if (!fields.value("waits").is_null()) {
        details.waits = readWaitReason(fields.value("waits"));
    }
    return details;
}

json::object jsonOf(const BugState& state) {
    return {{"bug", jsonText(state.bugID)},
            {"queued", state.queued ? json::value(jsonOf(*state.queued)) : json::value(nullptr)},
            {"retired", jsonOf(state.retired)}};
}

BugState readBugState(const json::value& value) {
    const JsonFields fields(value);
    BugState state{.bugID = fields.text("bug")};
    state.retired = readRetired(state.bugID, fields.value("retired"));
    if (!fields.value("queued").is_null()) {
        state.queued = readQueueItemDetails(fields.value("queued"));
    }
    return state;
}

json::object jsonOf(const QueueChange& change) {
    return {{"again", change.consent.again},
            {"confirmed", change.consent.confirmed},
            {"before", change.before.empty() ? json::value(nullptr) : jsonText(change.before)}};
}

QueueChange readQueueChange(QueueAction action, std::string bugID, const json::value& value) {
    const JsonFields fields(value);
    return {.action = action,
            .bugID = std::move(bugID),
            .consent = {.again = fields.flag("again", false), .confirmed = fields.flag("confirmed", false)},
            .before = fields.optionalText("before").value_or("")};
}

}  // namespace quernlight::host
