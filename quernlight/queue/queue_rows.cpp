#include "quernlight/queue/queue_rows.hpp"

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/storage/column_values.hpp"

namespace quernlight {
namespace {

Url bugURLOf(const Row& row) {
    return requiredColumn(Url::parse(requiredText(row, "bug_url")), "bug_url");
}

QueueItemStatus statusOf(const Row& row) {
    return requiredColumn(queueItemStatusFromRawValue(requiredText(row, "status")), "status");
}

/// Rows that an older version wrote, or that hold what this one does not know, count as the default.
QueueMode queueModeOf(const Row& row) {
    const std::string text = optionalText(row, "queue_mode").value_or("");
    return queueModeFromRawValue(text).value_or(QueueMode::automatic);
}

QueueItemGoalFlow goalFlowOf(const Row& row) {
    const std::string text = optionalText(row, "goal_flow").value_or("");
    return queueItemGoalFlowFromRawValue(text).value_or(QueueItemGoalFlow::fixBug);
}

}  // namespace

SQLValues insertValues(const BugQueueItem& item) {
    return {columnValue(item.id),
            columnValue(BugID::normalized(item.bugID)),
            columnValue(item.appID),
            columnValue(item.appName),
            columnValue(item.bundleID),
            columnValue(item.title),
            columnValue(item.bugURL.text()),
            columnValue(item.queuePosition),
            columnValue(rawValue(item.queueMode)),
            columnValue(rawValue(item.status)),
            columnValue(rawValue(item.goalFlow)),
            columnValue(item.priority),
            columnValue(item.activeSessionID),
            columnValue(item.codexSessionID),
            columnValue(item.errorMessage),
            columnValue(item.createdAt),
            columnValue(item.addedAt),
            columnValue(item.startedAt),
            columnValue(item.completedAt),
            columnValue(item.cancelledAt)};
}

SQLValues updateValues(const BugQueueItem& item) {
    return {columnValue(item.appName),
            columnValue(item.bundleID),
            columnValue(item.title),
            columnValue(item.bugURL.text()),
            columnValue(item.queuePosition),
            columnValue(rawValue(item.queueMode)),
            columnValue(rawValue(item.status)),
            columnValue(rawValue(item.goalFlow)),
            columnValue(item.priority),
            columnValue(item.activeSessionID),
            columnValue(item.codexSessionID),
            columnValue(item.errorMessage),
            columnValue(item.startedAt),
            columnValue(item.completedAt),
            columnValue(item.cancelledAt),
            columnValue(item.id)};
}

BugQueueItem queueItemOfRow(const Row& row) {
    return {
        .id = requiredUuid(row, "id"),
        .bugID = BugID::normalized(requiredText(row, "bug_id")),
        .appID = requiredUuid(row, "app_id"),
        .appName = requiredText(row, "app_name"),
        .bundleID = requiredText(row, "bundle_id"),
        .title = requiredText(row, "title"),
        .bugURL = bugURLOf(row),
        .queuePosition = requiredInteger(row, "queue_position"),
        .queueMode = queueModeOf(row),
        .status = statusOf(row),
        .goalFlow = goalFlowOf(row),
        .priority = requiredInteger(row, "priority"),
        .activeSessionID = optionalUuid(row, "active_session_id"),
        .codexSessionID = optionalUuid(row, "codex_session_id"),
        .errorMessage = optionalText(row, "error_message"),
        .createdAt = requiredInstant(row, "created_at"),
        .addedAt = requiredInstant(row, "added_at"),
        .startedAt = optionalInstant(row, "started_at"),
        .completedAt = optionalInstant(row, "completed_at"),
        .cancelledAt = optionalInstant(row, "cancelled_at"),
    };
}

QueueEvent queueEventOfRow(const Row& row) {
    return {
        .id = requiredUuid(row, "id"),
        .queueItemID = requiredUuid(row, "queue_item_id"),
        .sessionID = optionalUuid(row, "session_id"),
        .kind = requiredText(row, "kind"),
        .message = requiredText(row, "message"),
        .metadataJSON = optionalText(row, "metadata_json"),
        .createdAt = requiredInstant(row, "created_at"),
    };
}

}  // namespace quernlight
