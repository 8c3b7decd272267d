#include "quernlight/queue/queue_repository.hpp"

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/queue/queue_rows.hpp"
#include "quernlight/storage/column_values.hpp"

namespace quernlight {
namespace {

constexpr const char* insertItem =
    "INSERT INTO queue_items\n"
    "  (id, bug_id, app_id, app_name, bundle_id, title, bug_url, queue_position, queue_mode, status, "
    "goal_flow, priority, active_session_id, codex_session_id, error_message, created_at, added_at, "
    "started_at, completed_at, cancelled_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

constexpr const char* updateItem =
    "UPDATE queue_items SET\n"
    "  app_name = ?, bundle_id = ?, title = ?, bug_url = ?, queue_position = ?, queue_mode = ?, status = ?, "
    "goal_flow = ?, priority = ?, active_session_id = ?, codex_session_id = ?, error_message = ?, "
    "started_at = ?, completed_at = ?, cancelled_at = ?\n"
    " WHERE id = ?";

constexpr const char* isActive = "status NOT IN ('completed', 'failed', 'cancelled', 'awaitingUserInput')";

constexpr const char* selectNextPosition =
    "SELECT COALESCE(MAX(queue_position), -1) + 1 AS next_position\n"
    "  FROM queue_items\n"
    " WHERE status NOT IN ('completed', 'failed', 'cancelled', 'awaitingUserInput')\n"
    "   AND queue_mode = ?";

constexpr const char* releaseWaitingItems =
    "UPDATE queue_items\n"
    "   SET status = 'queued', error_message = NULL\n"
    " WHERE bundle_id = ? AND status = 'waitingForMapping'";

constexpr const char* insertEvent =
    "INSERT INTO queue_events\n"
    "  (id, queue_item_id, session_id, kind, message, metadata_json, created_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?)";

SQLValues insertValues(const QueueEvent& event) {
    return {columnValue(event.id),       columnValue(event.queueItemID), columnValue(event.sessionID),
            columnValue(event.kind),     columnValue(event.message),     columnValue(event.metadataJSON),
            columnValue(event.createdAt)};
}

std::string selectItems(const QueueListing& listing) {
    std::string sql = "SELECT * FROM queue_items";
    const char* joint = " WHERE ";
    if (!listing.includeTerminal) {
        sql += std::exchange(joint, " AND ");
        sql += isActive;
    }
    if (listing.queueMode) {
        sql += joint;
        sql += "queue_mode = ?";
    }
    return sql + " ORDER BY queue_mode ASC, queue_position ASC, added_at ASC";
}

}  // namespace

Task<void> QueueRepository::insert(const BugQueueItem& item) const {
    return database_->execute(insertItem, insertValues(item));
}

Task<void> QueueRepository::update(const BugQueueItem& item) const {
    return database_->execute(updateItem, updateValues(item));
}

/// In one go, since each by itself would be a transaction, and a way to the database's thread and back.
Task<void> QueueRepository::updateEach(std::vector<BugQueueItem> items) const {
    if (items.size() < 2) {
        for (const BugQueueItem& item : items) {
            co_await update(item);
        }
        co_return;
    }
    std::function<void(Connection&)> write = [&items](Connection& connection) {
        for (const BugQueueItem& item : items) {
            connection.execute(updateItem, updateValues(item));
        }
    };
    co_await database_->transaction(std::move(write), AfterFailure::commit);
}

Task<std::optional<BugQueueItem>> QueueRepository::item(Uuid id) const {
    return firstItem("SELECT * FROM queue_items WHERE id = ? LIMIT 1", columnValue(id));
}

Task<std::optional<BugQueueItem>> QueueRepository::item(std::string_view bugID) const {
    return firstItem("SELECT * FROM queue_items WHERE bug_id = ? LIMIT 1",
                     columnValue(BugID::normalized(bugID)));
}

Task<std::optional<BugQueueItem>> QueueRepository::firstItem(std::string sql, SQLValue value) const {
    SQLValues values(1, std::move(value));
    std::optional<BugQueueItem> item;
    RowReader read = [&item](const Statement& row) { item = QueueItemReader().item(row); };
    co_await database_->read(std::move(sql), std::move(values), std::move(read));
    co_return item;
}

Task<void> QueueRepository::readRows(QueueListing listing, RowReader row) const {
    SQLValues values;
    if (listing.queueMode) {
        values.push_back(columnValue(rawValue(*listing.queueMode)));
    }
    co_await database_->read(selectItems(listing), std::move(values), std::move(row));
}

Task<std::vector<BugQueueItem>> QueueRepository::items(QueueListing listing) const {
    std::vector<BugQueueItem> items;
    QueueItemReader reader;
    RowReader read = [&](const Statement& row) { items.push_back(reader.item(row)); };
    co_await readRows(listing, std::move(read));
    co_return items;
}

Task<ReadableItems> QueueRepository::readableItems(QueueListing listing) const {
    ReadableItems found;
    QueueItemReader reader;
    RowReader read = [&](const Statement& row) {
        try {
            found.items.push_back(reader.item(row));
        } catch (const DatabaseError& error) {
            found.unreadable.push_back({.bugID = reader.bugID(row), .trouble = error.what()});
        }
    };
    co_await readRows(listing, std::move(read));
    co_return found;
}

Task<void> QueueRepository::remove(Uuid id) const {
    return database_->execute("DELETE FROM queue_items WHERE id = ?", {columnValue(id)});
}

Task<std::int64_t> QueueRepository::nextPosition(QueueMode queueMode) const {
    SQLValues values(1, columnValue(rawValue(queueMode)));
    const std::vector<Row> rows = co_await database_->query(selectNextPosition, std::move(values));
    co_return rows.empty() ? 0 : requiredInteger(rows.front(), "next_position");
}

Task<void> QueueRepository::compactActiveQueuePositions(QueueMode queueMode) const {
    QueueListing listing{.includeTerminal = false, .queueMode = queueMode};
    ReadableItems active = co_await readableItems(listing);
    std::vector<BugQueueItem> moved;
    std::int64_t position = 0;
    for (BugQueueItem& item : active.items) {
        if (item.queuePosition != position) {
            item.queuePosition = position;
            moved.push_back(std::move(item));
        }
        ++position;
    }
    if (!moved.empty()) {
        co_await updateEach(std::move(moved));
    }
}

Task<void> QueueRepository::compactActiveQueuePositions() const {
    co_await compactActiveQueuePositions(QueueMode::automatic);
    co_await compactActiveQueuePositions(QueueMode::manual);
}

Task<void> QueueRepository::markWaitingItemsQueued(std::string_view bundleID) const {
    return database_->execute(releaseWaitingItems, {columnValue(bundleID)});
}

Task<void> QueueRepository::appendEvent(const Uuid& itemID, std::string_view kind, std::string_view message,
                                        const std::optional<Uuid>& sessionID,
                                        const std::optional<std::string>& metadataJSON,
                                        Instant createdAt) const {
    QueueEvent event{.id = randomUuid(),
                     .queueItemID = itemID,
                     .sessionID = sessionID,
                     .kind = std::string(kind),
                     .message = std::string(message),
                     .metadataJSON = metadataJSON,
                     .createdAt = createdAt};
    return observer_ ? appendObserved(std::move(event))
                     : database_->execute(insertEvent, insertValues(event));
}

/// The bug's id comes with the statement, since the item may be gone before it could be asked for.
Task<void> QueueRepository::appendObserved(QueueEvent event) const {
    const EventObserver observer = observer_;
    const std::string statement =
        std::string(insertEvent) +
        " RETURNING (SELECT bug_id FROM queue_items WHERE id = queue_item_id) AS bug_id";
    const auto rows = co_await database_->query(statement, insertValues(event));
    const std::string* bugID = rows.empty() ? nullptr : rows.front().at("bug_id").asText();
    observer(event, bugID ? *bugID : "");
}

QueueRepository QueueRepository::observedBy(EventObserver observer) const {
    QueueRepository observed(*this);
    observed.observer_ = std::move(observer);
    return observed;
}

Task<std::vector<QueueEvent>> QueueRepository::events(Uuid itemID) const {
    SQLValues values(1, columnValue(itemID));
    const std::vector<Row> rows = co_await database_->query(
        "SELECT * FROM queue_events WHERE queue_item_id = ? ORDER BY created_at ASC", std::move(values));
    std::vector<QueueEvent> events;
    events.reserve(rows.size());
    for (const Row& row : rows) {
        events.push_back(queueEventOfRow(row));
    }
    co_return events;
}

}  // namespace quernlight
