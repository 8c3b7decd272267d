#include "quernlight/queue/queue_rows.hpp"

#include <algorithm>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/storage/column_values.hpp"

namespace quernlight {
namespace {

constexpr int absent = -1;

/// The place of a column in `queueItemColumns`; a name that is none does not compile.
consteval std::size_t at(std::string_view name) {
    std::size_t place = 0;
    while (queueItemColumns.at(place) != name) {
        ++place;
    }
    return place;
}

Url bugURLOf(const Column& column) {
    return requiredColumn(Url::parse(requiredText(column)), column.name);
}

QueueItemStatus statusOf(const Column& column) {
    return requiredColumn(queueItemStatusFromRawValue(requiredText(column)), column.name);
}

/// Rows that an older version wrote, or that hold what this one does not know, count as the default.
QueueMode queueModeOf(const Column& column) {
    return queueModeFromRawValue(optionalText(column).value_or("")).value_or(QueueMode::automatic);
}

QueueItemGoalFlow goalFlowOf(const Column& column) {
    return queueItemGoalFlowFromRawValue(optionalText(column).value_or(""))
        .value_or(QueueItemGoalFlow::fixBug);
}

/// `column` gives the column of a place in `queueItemColumns`.
template <class ColumnAt>
BugQueueItem itemOf(const ColumnAt& column) {
    return {
        .id = requiredUuid(column(at("id"))),
        .bugID = BugID::normalized(requiredText(column(at("bug_id")))),
        .appID = requiredUuid(column(at("app_id"))),
        .appName = requiredText(column(at("app_name"))),
        .bundleID = requiredText(column(at("bundle_id"))),
        .title = requiredText(column(at("title"))),
        .bugURL = bugURLOf(column(at("bug_url"))),
        .queuePosition = requiredInteger(column(at("queue_position"))),
        .queueMode = queueModeOf(column(at("queue_mode"))),
        .status = statusOf(column(at("status"))),
        .goalFlow = goalFlowOf(column(at("goal_flow"))),
        .priority = requiredInteger(column(at("priority"))),
        .activeSessionID = optionalUuid(column(at("active_session_id"))),
        .codexSessionID = optionalUuid(column(at("codex_session_id"))),
        .errorMessage = optionalText(column(at("error_message"))),
        .createdAt = requiredInstant(column(at("created_at"))),
        .addedAt = requiredInstant(column(at("added_at"))),
        .startedAt = optionalInstant(column(at("started_at"))),
        .completedAt = optionalInstant(column(at("completed_at"))),
        .cancelledAt = optionalInstant(column(at("cancelled_at"))),
    };
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

void QueueItemReader::findColumns(const Statement& row) {
    if (found_) {
        return;
    }
    indexes_.fill(absent);
    for (int index = 0; index < row.columnCount(); ++index) {
        const auto place = std::ranges::find(queueItemColumns, row.columnName(index));
        if (place != queueItemColumns.end()) {
            indexes_[static_cast<std::size_t>(place - queueItemColumns.begin())] = index;
        }
    }
    found_ = true;
}

BugQueueItem QueueItemReader::item(const Statement& row) {
    findColumns(row);
    return itemOf([&](std::size_t place) -> Column {
        const int index = indexes_[place];
        return {.name = queueItemColumns[place],
                .value = index == absent ? SQLValueView() : row.columnView(index)};
    });
}

std::string QueueItemReader::bugID(const Statement& row) {
    findColumns(row);
    const int index = indexes_[at("bug_id")];
    const SQLValueView value = index == absent ? SQLValueView() : row.columnView(index);
    return BugID::normalized(value.text);
}

BugQueueItem queueItemOfRow(const Row& row) {
    return itemOf([&](std::size_t place) { return columnOf(row, queueItemColumns[place]); });
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
